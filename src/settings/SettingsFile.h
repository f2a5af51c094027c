#pragma once

#include <QObject>
#include <QString>

/// Looks after the file that the QML Settings objects read and write. Setting the path examines the
/// file at once, before any of them reads it: a damaged one is moved out of the way, to the same
/// name with kKeptSuffix (in place of one kept earlier), and the defaults hold.
class SettingsFile : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString path READ path WRITE setPath FINAL)
    Q_PROPERTY(State state READ state NOTIFY stateChanged FINAL)
    Q_PROPERTY(QString keptAs READ keptAs NOTIFY stateChanged FINAL)

public:
    enum State {
        Sound,      ///< a readable file, or none yet, in a folder that takes it
        Damaged,    ///< was unreadable; stands in keptAs, or in its place if that is empty
        Unwritable, ///< what is set will be lost: read-only, or the disk is full
    };
    Q_ENUM(State)

    static constexpr QLatin1StringView kKeptSuffix{".damaged"};

    using QObject::QObject;

    QString path() const { return m_path; }
    /// Relative paths are meant from the working directory.
    void setPath(const QString &path);

    State state() const { return m_state; }
    /// The name of the file put aside, without its folder.
    QString keptAs() const { return m_keptAs; }

    /// Tries whether the folder takes a file, and sets the state.
    Q_INVOKABLE void checkWritable();

signals:
    void stateChanged();

private:
    void keepAside();

    QString m_path;
    QString m_keptAs;
    State m_state = Sound;
};
