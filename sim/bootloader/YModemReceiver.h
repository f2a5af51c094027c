#pragma once

#include "BootMoment.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>
#include <QStringList>

/// The receiving end of one YModem transfer, as strict as a bootloader: whatever is not exactly the
/// block that has to come now is answered with NAK and noted in rejections(). A block that comes a
/// second time, since its answer was late or lost, is acknowledged again and not stored again.
class YModemReceiver
{
public:
    enum class Header : quint8 {
        NameAndSize, ///< and zeros behind them, nothing else
        MoreFields,  ///< date, mode and more too, even behind the empty name that ends it all
    };

    struct Reply
    {
        BootMoment moment = BootMoment::Header;
        char byte = 0;
        int block = 0; ///< number of the data block, where the moment is one
    };

    explicit YModemReceiver(Header header = Header::NameAndSize);

    /// Takes bytes in pieces of any length. Returns what is to be answered, in that order.
    QList<Reply> feed(QByteArrayView bytes);

    bool isComplete() const { return m_stage == Stage::Complete; }

    QString name() const { return m_name; }

    /// The file without its padding; whole once the transfer is complete.
    QByteArrayView image() const { return QByteArrayView(m_image).first(storedSize()); }

    QStringList rejections() const { return m_rejections; }

private:
    enum class Stage : quint8 { Header, Data, SecondEot, NullHeader, Complete };

    /// How many bytes the unit at the start of m_pending has; 0 for no start of any.
    qsizetype unitLength() const;
    void takeUnit(QByteArrayView unit, QList<Reply> &replies);
    void takeEot(QList<Reply> &replies);
    void takeBlock(QByteArrayView block, QList<Reply> &replies);
    void takeHeader(QByteArrayView payload, QList<Reply> &replies);
    void takeNullHeader(QByteArrayView payload, QList<Reply> &replies);
    void takeData(QByteArrayView payload, int low, QList<Reply> &replies);
    /// What is wrong with the header's payload; empty for nothing.
    QString readHeader(QByteArrayView payload);
    void reject(const QString &reason, QList<Reply> &replies);

    qsizetype storedSize() const { return qMin(m_size, m_image.size()); }

    BootMoment currentMoment() const;

    Header m_manner;
    Stage m_stage = Stage::Header;
    QByteArray m_pending;
    QString m_name;
    qsizetype m_size = 0;
    int m_nextBlock = 1;
    QByteArray m_image;
    QStringList m_rejections;
};
