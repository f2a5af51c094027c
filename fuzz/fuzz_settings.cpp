// What may stand in device_config.ini: examined, and read the way the window reads it at its start.
// Input: the file.

#include "FuzzHarness.h"
#include "compat/Settings.h"
#include "settings/SettingsText.h"

#include <QUrl>

#include <array>

namespace {

// QSettings remembers the files it read, by name; the names are used again when it has forgotten.
constexpr int kFileNames = 64;
constexpr qsizetype kInputsPerWrite = 16; // writing costs ten times as much as reading
constexpr int kDefault = 1;
constexpr int kStored = 2005;

struct Setting
{
    const char *category;
    const char *key;
};

constexpr Setting kPort{"TCP", "devicePort"};
constexpr std::array kSettings = {kPort, Setting{"RTSP", "rtspIp"}, Setting{"TCP", "deviceIp"},
                                  Setting{"COM", "baudRate"}, Setting{"General", "languageIndex"}};

void open(compat::Settings &settings, const QString &path, const Setting &setting)
{
    settings.setLocation(QUrl::fromLocalFile(path));
    settings.setCategory(QString::fromLatin1(setting.category));
}

QVariant read(const QString &path, const Setting &setting)
{
    compat::Settings settings;
    open(settings, path, setting);
    return settings.value(QString::fromLatin1(setting.key), kDefault);
}

} // namespace

void fuzz::run(Input input)
{
    const QByteArrayView content = input.rest();
    if (!settings_text::isPlain(content)) // only plain text gets as far as to be read
        return;
    static int number = 0;
    number = (number + 1) % kFileNames;
    const QString path = writeFile(QString::number(number), content);
    for (const Setting &setting : kSettings) {
        const QVariant value = read(path, setting);
        const int type = value.typeId();
        FUZZ_REQUIRE(type == QMetaType::QString || type == QMetaType::QStringList
                     || value == kDefault);
    }
    FUZZ_REQUIRE(contentOf(path) == content);    // reading changes nothing
    if (content.size() % kInputsPerWrite == 0) { // what is stored over it is found again
        compat::Settings settings;
        open(settings, path, kPort);
        settings.setValue(QString::fromLatin1(kPort.key), kStored);
        FUZZ_REQUIRE(read(path, kPort).toInt() == kStored);
        FUZZ_REQUIRE(contentOf(path).contains("devicePort=2005"));
    }
    QFile::remove(path);
}
