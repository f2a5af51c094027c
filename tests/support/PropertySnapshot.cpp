#include "PropertySnapshot.h"

#include <QMetaProperty>

PropertySnapshot::PropertySnapshot(const QObject &object)
    : m_object(object)
    , m_lines(read())
{
}

QStringList PropertySnapshot::read() const
{
    constexpr int kDigits = 12;
    QStringList lines;
    const QMetaObject *meta = m_object.metaObject();
    for (int i = meta->propertyOffset(); i < meta->propertyCount(); ++i) {
        const QVariant value = meta->property(i).read(&m_object);
        const QString text = value.typeId() == QMetaType::Double
                                 ? QString::number(value.toDouble(), 'g', kDigits)
                                 : value.toString();
        lines.append(QString::fromLatin1(meta->property(i).name()) + u'=' + text);
    }
    return lines;
}

QString PropertySnapshot::changes() const
{
    const QStringList now = read();
    QStringList changed;
    for (qsizetype i = 0; i < now.size(); ++i) {
        if (now.at(i) != m_lines.at(i))
            changed.append(now.at(i));
    }
    return changed.join(u' ');
}
