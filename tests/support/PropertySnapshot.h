#pragma once

#include <QMetaProperty>
#include <QStringList>

/// The properties of an object as "name=value" texts in the order of declaration, to tell what a
/// step changed and that it changed nothing else.
class PropertySnapshot
{
public:
    explicit PropertySnapshot(const QObject &object)
        : m_object(object)
        , m_lines(read())
    {
    }

    /// What differs now, joined by spaces.
    QString changes() const
    {
        QStringList changed = read();
        changed.removeIf([this](const QString &line) { return m_lines.contains(line); });
        return changed.join(u' ');
    }
    /// Every property. Real numbers have twelve digits, below which lies their scaling's noise.
    const QStringList &lines() const { return m_lines; }

private:
    QStringList read() const
    {
        QStringList lines;
        const QMetaObject *meta = m_object.metaObject();
        for (int i = meta->propertyOffset(); i < meta->propertyCount(); ++i) {
            const QVariant value = meta->property(i).read(&m_object);
            const bool isReal = value.typeId() == QMetaType::Double;
            lines.append(
                QLatin1StringView(meta->property(i).name()) + u'='
                + (isReal ? QString::number(value.toDouble(), 'g', 12) : value.toString()));
        }
        return lines;
    }

    const QObject &m_object;
    QStringList m_lines;
};
