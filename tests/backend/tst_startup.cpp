// The console's own executable: it comes up with nothing attached, ends when its interface is
// broken, and exports what it should.

#include <QFile>
#include <QLibraryInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 60000;
const QString kConsole = QStringLiteral(CONSOLE_EXECUTABLE);

} // namespace

class TestStartup : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void comesUpAndStays();
    void brokenInterfaceEndsIt();
    void moduleIsRegistered();

private:
    QTemporaryDir m_folder;
    QProcess m_console;
};

void TestStartup::init()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"HOME"_s, m_folder.path());
    // Tells when a window with a scene is there.
    environment.insert(u"QT_LOGGING_RULES"_s, u"qt.scenegraph.general=true"_s);
    m_console.setProcessEnvironment(environment);
    m_console.setWorkingDirectory(m_folder.path());
    m_console.setProcessChannelMode(QProcess::MergedChannels);
}

void TestStartup::cleanup()
{
    m_console.kill();
    m_console.waitForFinished(kWaitMs);
}

void TestStartup::comesUpAndStays()
{
    m_console.start(kConsole, {});
    QByteArray output;
    while (!output.contains("scenegraph") && m_console.waitForReadyRead(kWaitMs))
        output += m_console.readAll();
    QVERIFY2(output.contains("scenegraph"), output.constData());
    QVERIFY2(!m_console.waitForFinished(1500), "it ended by itself");
    // Starting reads no settings and writes none.
    QVERIFY(!QFile::exists(m_folder.filePath(u"device_config.ini"_s)));
}

void TestStartup::brokenInterfaceEndsIt()
{
    // A copy whose installation lacks every QML module: Main cannot be created.
    const QString copy = m_folder.filePath(u"console"_s);
    QVERIFY(QFile::copy(kConsole, copy));
    QFile paths(m_folder.filePath(u"qt.conf"_s));
    QVERIFY(paths.open(QIODevice::WriteOnly));
    paths.write(u"[Paths]\nPrefix=%1\nPlugins=%2\nQmlImports=%3/nowhere\n"_s
                    .arg(QLibraryInfo::path(QLibraryInfo::PrefixPath),
                         QLibraryInfo::path(QLibraryInfo::PluginsPath), m_folder.path())
                    .toUtf8());
    paths.close();
    m_console.start(copy, {});
    QVERIFY2(m_console.waitForFinished(kWaitMs), "an invisible process stays behind");
    QCOMPARE(m_console.exitStatus(), QProcess::NormalExit);
    QCOMPARE(qint8(m_console.exitCode()), qint8(-1));
    const QByteArray output = m_console.readAll();
    QVERIFY2(output.contains("Main.qml"), output.constData());
}

void TestStartup::moduleIsRegistered()
{
    m_console.start(QStringLiteral(NM_EXECUTABLE), {u"-DC"_s, u"--defined-only"_s, kConsole});
    QVERIFY(m_console.waitForFinished(kWaitMs));
    QVERIFY(m_console.readAll().contains(" T qml_register_types_podconsole"));
    // The module's description lies uncompressed among the resources.
    QFile executable(kConsole);
    QVERIFY(executable.open(QIODevice::ReadOnly));
    QVERIFY(executable.readAll().contains("module podconsole\n"
                                          "typeinfo apppodconsole.qmltypes\n"
                                          "prefer :/qt/qml/podconsole/\n"
                                          "Main 1.0 Main.qml\n"
                                          "PodControlDrawer 1.0 PodControlDrawer.qml\n"
                                          "TitleBar 1.0 TitleBar.qml\n"));
}

QTEST_GUILESS_MAIN(TestStartup)
#include "tst_startup.moc"
