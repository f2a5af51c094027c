// What may stand in device_config.ini: examined, and read the way the window reads it at its start.
// Input: the file.

#include "FuzzHarness.h"
#include "compat/Settings.h"
#include "settings/SettingsText.h"

#include <QFile>
#include <QTemporaryDir>
#include <QUrl>

#include <array>

namespace {

// QSettings remembers the files it read, by name; the names are used again when it has forgotten.
constexpr int kFileNames = 64;
// Writing costs ten times as much as reading.
constexpr std::size_t kInputsPerWrite = 16;

constexpr int kDefault = 1;

struct Setting
{
    const char *category;
    const char *key;
};

constexpr std::array kSettings = {Setting{"RTSP", "rtspIp"}, Setting{"TCP", "deviceIp"},
                                  Setting{"TCP", "devicePort"}, Setting{"COM", "baudRate"},
                                  Setting{"General", "languageIndex"}};

QString nextPath()
{
    static const QTemporaryDir folder;
    static int number = 0;
    number = (number + 1) % kFileNames;
    return folder.filePath(QString::number(number));
}

void open(compat::Settings &settings, const QString &path, const Setting &setting)
{
    settings.setLocation(QUrl::fromLocalFile(path));
    settings.setCategory(QString::fromLatin1(setting.category));
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    FUZZ_REQUIRE(file.open(QIODevice::ReadOnly));
    return file.readAll();
}

void readAll(const QString &path)
{
    std::array<compat::Settings, kSettings.size()> groups;
    for (std::size_t i = 0; i < kSettings.size(); ++i) {
        open(groups[i], path, kSettings[i]);
        const QVariant value = groups[i].value(QString::fromLatin1(kSettings[i].key), kDefault);
        const int type = value.typeId();
        FUZZ_REQUIRE(type == QMetaType::QString || type == QMetaType::QStringList
                     || value == kDefault);
    }
}

/// What is stored over whatever stood there is found again.
void writeOne(const QString &path)
{
    const Setting &setting = kSettings[2];
    const QString key = QString::fromLatin1(setting.key);
    compat::Settings settings;
    open(settings, path, setting);
    settings.setValue(key, 2005);
    compat::Settings again;
    open(again, path, setting);
    FUZZ_REQUIRE(again.value(key).toInt() == 2005);
    FUZZ_REQUIRE(contentOf(path).contains("devicePort=2005"));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzz::prepare(size);
    // Only plain text gets as far as to be read.
    if (!settings_text::isPlain(QByteArrayView(data, qsizetype(size))))
        return 0;
    const QByteArray content(reinterpret_cast<const char *>(data), qsizetype(size));
    const QString path = nextPath();
    QFile file(path);
    FUZZ_REQUIRE(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
    file.close();

    readAll(path);
    FUZZ_REQUIRE(contentOf(path) == content); // reading changes nothing
    if (size % kInputsPerWrite == 0)
        writeOne(path);
    QFile::remove(path);
    return 0;
}
