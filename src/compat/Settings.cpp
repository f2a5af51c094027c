#include "Settings.h"

#include <QDebug>

namespace compat {

void Settings::setCategory(const QString &category)
{
    m_category = category;
    m_store.reset();
}

void Settings::setLocation(const QUrl &location)
{
    m_location = location;
    m_store.reset();
}

QVariant Settings::value(const QString &key, const QVariant &defaultValue) const
{
    return store().value(key, defaultValue);
}

void Settings::setValue(const QString &key, const QVariant &value)
{
    store().setValue(key, value);
    store().sync();
    // A file that could not be read is written over; opening it again tells whether that worked.
    if (store().status() == QSettings::FormatError)
        m_store.reset();
    if (store().status() != QSettings::NoError)
        qWarning() << "cannot write settings file" << store().fileName();
}

QSettings &Settings::store() const
{
    if (!m_store) {
        // "file:name.ini" is a name in the working directory, as with Qt's own type.
        m_store = m_location.isEmpty()
                      ? std::make_unique<QSettings>()
                      : std::make_unique<QSettings>(m_location.toLocalFile(), QSettings::IniFormat);
        if (!m_category.isEmpty())
            m_store->beginGroup(m_category);
    }
    return *m_store;
}

} // namespace compat
