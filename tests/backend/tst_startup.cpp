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

/// The console without a display, in a folder of its own.
class Console
{
public:
    Console(const QString &executable, const QString &folder)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        environment.insert(u"HOME"_s, folder);
        // Tells when a window with a scene is there.
        environment.insert(u"QT_LOGGING_RULES"_s, u"qt.scenegraph.general=true"_s);
        process.setProcessEnvironment(environment);
        process.setWorkingDirectory(folder);
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(executable, QStringList());
    }

    ~Console()
    {
        process.kill();
        process.waitForFinished(kWaitMs);
    }

    Console(const Console &) = delete;
    Console &operator=(const Console &) = delete;

    bool says(const QByteArray &text)
    {
        while (!m_output.contains(text)) {
            if (!process.waitForReadyRead(kWaitMs))
                return false;
            m_output += process.readAll();
        }
        return true;
    }

    const QByteArray &output() const { return m_output; }

    QProcess process;

private:
    QByteArray m_output;
};

} // namespace

class TestStartup : public QObject
{
    Q_OBJECT

private slots:
    void comesUpAndStays();
    void brokenInterfaceEndsIt();
    void moduleRegistrationIsExported();
    void moduleDescription();
};

void TestStartup::comesUpAndStays()
{
    const QTemporaryDir folder;
    Console console(kConsole, folder.path());
    QVERIFY2(console.says("scenegraph"), console.output().constData());
    QVERIFY2(!console.process.waitForFinished(1500), "it ended by itself");
    // Starting reads no settings and writes none.
    QVERIFY(!QFile::exists(folder.filePath(u"device_config.ini"_s)));
}

void TestStartup::brokenInterfaceEndsIt()
{
    // A copy whose installation lacks every QML module: Main cannot be created.
    const QTemporaryDir folder;
    const QString copy = folder.filePath(u"console"_s);
    QVERIFY(QFile::copy(kConsole, copy));
    QFile paths(folder.filePath(u"qt.conf"_s));
    QVERIFY(paths.open(QIODevice::WriteOnly));
    paths.write(u"[Paths]\nPrefix=%1\nPlugins=%2\nQmlImports=%3/nowhere\n"_s
                    .arg(QLibraryInfo::path(QLibraryInfo::PrefixPath),
                         QLibraryInfo::path(QLibraryInfo::PluginsPath), folder.path())
                    .toUtf8());
    paths.close();

    Console console(copy, folder.path());
    QVERIFY2(console.process.waitForFinished(kWaitMs), "an invisible process stays behind");
    QCOMPARE(console.process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(qint8(console.process.exitCode()), qint8(-1));
    const QByteArray output = console.process.readAll();
    QVERIFY2(output.contains("Main.qml"), output.constData());
}

void TestStartup::moduleRegistrationIsExported()
{
    QProcess nm;
    nm.start(QStringLiteral(NM_EXECUTABLE), {u"-DC"_s, u"--defined-only"_s, kConsole});
    QVERIFY(nm.waitForFinished(kWaitMs));
    const QByteArray symbols = nm.readAll();
    QVERIFY2(symbols.contains(" T qml_register_types_podconsole"), symbols.left(2000).constData());
}

void TestStartup::moduleDescription()
{
    // The text lies uncompressed among the resources.
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
