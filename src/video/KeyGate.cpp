#include "KeyGate.h"

#include "AnnexB.h"

KeyGate::Pass KeyGate::admit(const AVPacket &packet, qint64 nowUs)
{
    if (m_isOpen)
        return Pass::Show;
    m_sinceUs = m_sinceUs.value_or(nowUs);
    const bool isKey = (packet.flags & AV_PKT_FLAG_KEY) != 0;
    if (m_left)
        --*m_left;
    else
        m_left = annexb::recoveryPictures(QByteArrayView(packet.data, packet.size));
    m_isOpen = isKey || (m_left && *m_left <= 0) || nowUs - *m_sinceUs > kPatienceUs;
    if (m_isOpen)
        return Pass::Show;
    return m_left ? Pass::Decode : Pass::Drop;
}
