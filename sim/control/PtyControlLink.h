#pragma once

#include "ControlLink.h"

#include <QSocketNotifier>
#include <QTimer>

#include <memory>

/// The pod on a pseudo terminal: its slave path is what a console opens as serial port.
class PtyControlLink : public ControlLink
{
    Q_OBJECT

public:
    explicit PtyControlLink(QObject *parent = nullptr);
    ~PtyControlLink() override;

    /// `linkPath`, if not empty, becomes a symbolic link to the slave. False with an error text.
    bool open(const QString &linkPath, QString &error);
    QString slavePath() const { return m_slavePath; }

    /// From here on the link holds the slave open itself: a client counts as present at all times,
    /// its coming and going loses no bytes, and isFetched() works.
    void holdSlave();
    /// True when the client has read all that was sent.
    bool isFetched() const;
    void discardUnfetched();
    /// Ends the terminal, for the client as a pulled cable does.
    void hangUp();

    void send(const QByteArray &bytes) override;
    bool hasClient() const override { return m_hasClient; }

private:
    void watch();
    void readAvailable();
    void setHasClient(bool hasClient);

    int m_master = -1;
    int m_heldSlave = -1;
    QString m_slavePath;
    QString m_linkPath;
    bool m_hasClient = false;
    std::unique_ptr<QSocketNotifier> m_notifier;
    QTimer m_watch; // the master tells of a client's coming only when asked
};
