#include "SettingsFile.h"

#include "SettingsText.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QTemporaryFile>

namespace {

constexpr qint64 kLargest = 1 << 20; // bytes; the console writes less than one thousandth
constexpr qint64 kTrialBytes = 4096; // as much as a file system hands out at once

bool isDamaged(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false; // there is none, or it is not ours to read
    if (file.size() > kLargest || !settings_text::isPlain(file.readAll()))
        return true;
    const QSettings reader(path, QSettings::IniFormat);
    static_cast<void>(reader.allKeys()); // parses every group
    return reader.status() == QSettings::FormatError;
}

} // namespace

void SettingsFile::setPath(const QString &path)
{
    m_path = path;
    m_keptAs.clear();
    m_state = Sound;
    if (isDamaged(m_path))
        keepAside();
    else
        checkWritable();
    emit stateChanged();
}

void SettingsFile::keepAside()
{
    m_state = Damaged;
    const QString kept = m_path + kKeptSuffix;
    QFile::remove(kept);
    if (QFile::rename(m_path, kept))
        m_keptAs = QFileInfo(kept).fileName();
    qWarning() << "damaged settings file" << m_path << "kept as" << m_keptAs;
}

void SettingsFile::checkWritable()
{
    QTemporaryFile trial(m_path + QStringLiteral(".XXXXXX"));
    const bool written =
        trial.open() && trial.write(QByteArray(kTrialBytes, ' ')) == kTrialBytes && trial.flush();
    const State state = written ? (m_state == Unwritable ? Sound : m_state) : Unwritable;
    if (!written)
        qWarning() << "settings cannot be written beside" << m_path << trial.errorString();
    if (state == m_state)
        return;
    m_state = state;
    emit stateChanged();
}
