#pragma once

#include <QMetaMethod>
#include <QObject>
#include <QStringList>

/// Notes every signal of an object's own class, in the order of their coming, by name and with
/// its arguments: "connectionChanged(true)".
class SignalLog : public QObject
{
public:
    /// `of` is the class whose signals count; those it inherits are left out.
    SignalLog(QObject &sender, const QMetaObject &of);

    bool contains(const QString &line) const { return m_lines.contains(line); }
    /// The lines so far, joined by spaces; forgets them.
    QString take();

    /// Receives every signal, whatever its signature; not for calling.
    int qt_metacall(QMetaObject::Call call, int id, void **arguments) override;

private:
    QList<QMetaMethod> m_signals;
    QStringList m_lines;
};
