#pragma once

#include <QObject>
#include <QSettings>
#include <QUrl>
#include <QVariant>

#include <memory>

namespace compat {

/// What QML's QtCore Settings offers from Qt 6.5 on, as far as the console uses it: one group of
/// an INI file. A write reaches the file at once; a file that cannot be written is warned about.
class Settings : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString category READ category WRITE setCategory FINAL)
    Q_PROPERTY(QUrl location READ location WRITE setLocation FINAL)

public:
    using QObject::QObject;

    QString category() const { return m_category; }
    void setCategory(const QString &category);

    QUrl location() const { return m_location; }
    void setLocation(const QUrl &location);

    Q_INVOKABLE QVariant value(const QString &key, const QVariant &defaultValue = {}) const;
    Q_INVOKABLE void setValue(const QString &key, const QVariant &value);

private:
    QSettings &store() const;

    QString m_category;
    QUrl m_location;
    mutable std::unique_ptr<QSettings> m_store; // opened at the first use
};

} // namespace compat
