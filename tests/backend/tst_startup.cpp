// What the console starts with: its settings file, sound or damaged, and its interface.

#include "CaseTrace.h"
#include "Files.h"
#include "LogCatcher.h"
#include "compat/Settings.h"
#include "settings/SettingsFile.h"

#include <QLibraryInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 60000;
const QString kConsole = QStringLiteral(CONSOLE_EXECUTABLE);

struct Group : compat::Settings
{
    Group(const QString &path, const QString &name)
    {
        setLocation(QUrl::fromLocalFile(path));
        setCategory(name);
    }
};

} // namespace

class TestStartup : public QObject
{
    Q_OBJECT

private slots:
    void init() { QVERIFY(QFile::remove(m_path) || !QFile::exists(m_path)); }
    void groupsOfOneFile();
    void damagedFileIsKeptAside();
    void brokenInterfaceEndsTheConsole();
    void moduleIsExported();

private:
    QTemporaryDir m_folder;
    const QString m_path = m_folder.filePath(u"device_config.ini"_s);
};

void TestStartup::groupsOfOneFile()
{
    Group tcp(m_path, u"TCP"_s);
    Group general(m_path, u"General"_s);
    QCOMPARE(tcp.value(u"devicePort"_s, 2000).toInt(), 2000);
    QVERIFY2(!QFile::exists(m_path), "reading created the file");
    // Two writers of one file undo nothing, and each write is in it at once.
    tcp.setValue(u"deviceIp"_s, u"192.168.1.7"_s);
    general.setValue(u"languageIndex"_s, 1);
    tcp.setValue(u"devicePort"_s, 2002);
    QVERIFY(contentOf(m_path).contains("[TCP]\ndeviceIp=192.168.1.7\ndevicePort=2002"));
    QCOMPARE(Group(m_path, u"General"_s).value(u"languageIndex"_s, 0).toInt(), 1);
    general.setCategory(u"TCP"_s);
    QCOMPARE(general.value(u"devicePort"_s, 0).toInt(), 2002);
    // Unwritable also for root, whom no permission stops: a file in the folder's place.
    const LogCatcher log;
    Group(m_path + u"/below.ini"_s, u"TCP"_s).setValue(u"devicePort"_s, 2005);
    QVERIFY(log.contains(u"cannot write settings file"_s));
}

void TestStartup::damagedFileIsKeptAside()
{
    const QList<std::pair<QByteArray, bool>> rows = {
        {"", false},
        {"; x\n[TCP]\r\n\nname=吊舱 p\\x41@b, 10.0.0.5\n@c=d", false},
        {"[%General]\nlanguageIndex=1\n", false},
        {"[TCP]\ndevicePort=2001\n" + QByteArray(100, '\0'), true},
        {"[TCP\ndevicePort=2001\n", true},                 // a group without an end
        {"[TCP]\ndevicePort\n", true},                     // a line without a value
        {"[TCP]\nx=" + QByteArray(2 << 20, 'x'), true},    // far too long
        {R"(a=@Variant(\0\0\0\t\xff\xff\xff\xfe))", true}, // Qt makes it something of any size
        {"a=b, \"@Size(1 2)\"", true},
        {"a=\"b,\", \"\" @Size(1 2)", true},
        {"a=\"b,\\\"=@c\"; @d", true},  // where its comment begins is a guess
        {"a=b\\\r\n,@Size(1 2)", true}, // a value of two lines
        {"a=\\x40Size(1 2)", true},
    };
    for (const auto &[content, damaged] : rows) {
        const CaseTrace trace(content);
        // One was kept before; the newest counts.
        const QString kept = writeFile(m_path + SettingsFile::kKeptSuffix, "older");
        writeFile(m_path, content);
        SettingsFile file;
        file.setPath(m_path);
        QVERIFY2(file.state() == (damaged ? SettingsFile::Damaged : SettingsFile::Sound), content);
        QCOMPARE(file.keptAs(), damaged ? u"device_config.ini.damaged"_s : QString());
        QCOMPARE(QFile::exists(m_path), !damaged);
        QCOMPARE(contentOf(m_path), damaged ? "" : content);
        QCOMPARE(contentOf(kept), damaged ? content : "older");
        file.setPath(m_folder.filePath(u"no folder/device_config.ini"_s));
        QCOMPARE(file.state(), SettingsFile::Unwritable);
    }
}

void TestStartup::brokenInterfaceEndsTheConsole()
{
    // A copy whose installation lacks every QML module: Main cannot be created.
    const QString copy = m_folder.filePath(u"console"_s);
    QVERIFY(QFile::copy(kConsole, copy));
    writeFile(m_folder.filePath(u"qt.conf"_s),
              u"[Paths]\nPrefix=%1\nPlugins=%2\nQmlImports=/nowhere\n"_s
                  .arg(QLibraryInfo::path(QLibraryInfo::PrefixPath),
                       QLibraryInfo::path(QLibraryInfo::PluginsPath))
                  .toUtf8());
    QProcess console;
    console.setWorkingDirectory(m_folder.path());
    console.start(copy, {});
    QVERIFY2(console.waitForFinished(kWaitMs), "an invisible process stays behind");
    QCOMPARE(console.exitStatus(), QProcess::NormalExit);
    QCOMPARE(qint8(console.exitCode()), qint8(-1));
    QVERIFY(console.readAllStandardError().contains("Main.qml"));
}

void TestStartup::moduleIsExported()
{
    // The module's description lies uncompressed among the resources.
    QVERIFY(contentOf(kConsole).contains("prefer :/qt/qml/podconsole/\n"
                                         "Main 1.0 Main.qml\n"
                                         "PodControlDrawer 1.0 PodControlDrawer.qml\n"
                                         "TitleBar 1.0 TitleBar.qml\n"));
}

QTEST_GUILESS_MAIN(TestStartup)
#include "tst_startup.moc"
