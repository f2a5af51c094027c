// The log that an operator sends: bounded, complete, without passwords, and never in the way.

#include "Files.h"
#include "log/LogFile.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <array>
#include <atomic>
#include <thread>

#ifdef Q_OS_UNIX
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

using namespace Qt::StringLiterals;

namespace {

constexpr RotatingFile::Bounds kSmall{.fileBytes = 100, .files = 3};

} // namespace

class TestLog : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>(QDir::tempPath() + u"/吊舱 ü XXXXXX"_s);
    }
    void oldestLinesGo();
    void heldNameCostsNoBound();
    void consolesOnceAndAgain();
    void noFolderNoFile();
    void linesOfAllThreadsArrive();
#ifdef Q_OS_UNIX
    void diskThatStandsStillDelaysNobody();
#endif
    void passwordsAreMasked_data();
    void passwordsAreMasked();

private:
    QString path(const QString &name) const { return m_folder->filePath(name); }

    std::unique_ptr<QTemporaryDir> m_folder;
};

void TestLog::oldestLinesGo()
{
    RotatingFile file(m_folder->path(), kSmall);
    for (char letter = 'a'; letter <= 'h'; ++letter)
        file.write(QByteArray(49, letter)); // two fill a file
    file.write(QByteArray(500, 'x'));
    const auto pair = [](char one, char two) {
        return QByteArray(49, one) + '\n' + QByteArray(49, two) + '\n';
    };
    QCOMPARE(contentOf(file.path()), QByteArray(99, 'x') + '\n');
    QCOMPARE(contentOf(path(u"podconsole.1.log"_s)), pair('g', 'h'));
    QCOMPARE(contentOf(path(u"podconsole.2.log"_s)), pair('e', 'f'));
    QCOMPARE(QDir(m_folder->path()).entryList({u"*.log"_s}).size(), kSmall.files);
}

// Where the full file cannot be renamed, the bound counts for more than the old lines.
void TestLog::heldNameCostsNoBound()
{
    QVERIFY(QDir().mkpath(path(u"podconsole.1.log/held"_s)));
    QVERIFY(QDir().mkpath(path(u"podconsole.2.log/held"_s)));
    RotatingFile file(m_folder->path(), kSmall);
    for (int i = 0; i < 20; ++i)
        file.write(QByteArray::number(i).rightJustified(49));
    QCOMPARE(contentOf(file.path()).simplified(), "18 19");
}

void TestLog::consolesOnceAndAgain()
{
    const QString first = path(u"podconsole.log"_s);
    {
        std::vector<std::unique_ptr<RotatingFile>> consoles;
        QStringList paths;
        for (int i = 0; i <= RotatingFile::kConsoles; ++i) {
            consoles.push_back(std::make_unique<RotatingFile>(m_folder->path(), kSmall));
            consoles.back()->write("of " + QByteArray::number(i));
            paths.append(consoles.back()->path());
        }
        QCOMPARE(paths,
                 (QStringList{first, path(u"podconsole-2.log"_s), path(u"podconsole-3.log"_s),
                              path(u"podconsole-4.log"_s), QString()}));
        QCOMPARE(contentOf(paths.at(1)), "of 1\n");
    }
    RotatingFile next(m_folder->path(), kSmall);
    next.write("again");
    QCOMPARE(contentOf(first), "of 0\nagain\n");
}

void TestLog::noFolderNoFile()
{
    // For root, too, whom no permission stops: a file in the folder's place.
    QVERIFY(QFile(path(u"taken"_s)).open(QIODevice::WriteOnly));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"no log file"_s));
    const LogFile log(path(u"taken"_s));
    QTest::ignoreMessage(QtDebugMsg, "goes on");
    qDebug("goes on");
}

void TestLog::linesOfAllThreadsArrive()
{
    constexpr int kThreads = 4;
    constexpr int kLines = 200;
    static std::atomic<int> passedOn = 0;
    const auto before = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext &, const QString &) { ++passedOn; });
    {
        const LogFile log(m_folder->path());
        std::array<std::jthread, kThreads> threads;
        for (std::jthread &thread : threads)
            thread = std::jthread([] {
                for (int line = 0; line < kLines; ++line)
                    qDebug("指令 %d rtsp://admin:secret@h/", line);
            });
        for (std::jthread &thread : threads)
            thread.join();
        qCritical("lost");
    }
    qDebug("after it");
    qInstallMessageHandler(before);
    QCOMPARE(passedOn.load(), kThreads * kLines + 2);
    const QString text = QString::fromUtf8(contentOf(path(u"podconsole.log"_s)));
    static const QRegularExpression whole(
        u"^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} D 指令 \\d+ rtsp://admin:\\*\\*\\*@h/$"_s,
        QRegularExpression::MultilineOption);
    QCOMPARE(text.count(whole), kThreads * kLines);
    QVERIFY(text.contains(u" I podconsole starts"_s) && text.endsWith(u" C lost\n"_s));
}

#ifdef Q_OS_UNIX
void TestLog::diskThatStandsStillDelaysNobody()
{
    // A pipe that nobody reads is opened, and once full written to, by waiting.
    const QByteArray pipe = QFile::encodeName(path(u"podconsole.log"_s));
    QCOMPARE(mkfifo(pipe.constData(), 0600), 0);
    const auto before =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    auto log = std::make_unique<LogFile>(m_folder->path());
    QElapsedTimer timer;
    timer.start();
    for (int line = 0; line < 2 * LogQueue::kMaxWaiting; ++line)
        qDebug("%d", line);
    log.reset();
    const qint64 tookMs = timer.elapsed();
    qInstallMessageHandler(before);
    const int reader = open(pipe.constData(), O_RDONLY | O_NONBLOCK);
    QByteArray content;
    const auto isThere = [&] {
        QByteArray part(1 << 16, '\0');
        const ssize_t count = read(reader, part.data(), size_t(part.size()));
        content += part.first(std::max<ssize_t>(count, 0));
        return content.endsWith(" lines are missing here\n");
    };
    QTRY_VERIFY(isThere());
    close(reader);
    QVERIFY2(tookMs < 5000, QByteArray::number(tookMs));
    QCOMPARE(content.count('\n'), LogQueue::kMaxWaiting + 1);
    QVERIFY(content.contains("\n" + QByteArray::number(LogQueue::kMaxWaiting + 1) + " lines are"));
}
#endif

void TestLog::passwordsAreMasked_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("masked");
    const auto row = [](const char *name, const char *line, const char *masked) {
        QTest::newRow(name) << QString::fromUtf8(line) << QString::fromUtf8(masked);
    };
    row("none", R"(TCP: "10.0.0.1" : 2000 a@b)", R"(TCP: "10.0.0.1" : 2000 a@b)");
    row("port", R"("rtsp://10.0.0.1:554/live" "a@b")", R"("rtsp://10.0.0.1:554/live" "a@b")");
    row("name only", "rtsp://admin@h/live", "rtsp://admin@h/live");
    row("within", R"(开始 "rtsp://u:secret@h:554/x" 1)", R"(开始 "rtsp://u:***@h:554/x" 1)");
    row("at, slash", R"("rtsp://u:se@c/r@et@h/x")", R"("rtsp://u:***@h/x")");
    row("space", R"("rtsp://u:sec ret@h/x")", R"("rtsp://u:***@h/x")");
    row("quote", R"("rtsp://u:s/e\"cret@h/x" "c@d")", R"("rtsp://u:***@h/x" "c@d")");
    row("unquoted", R"(流 rtsp://u:se"c ret@h/x b@c)", R"(流 rtsp://u:***@c)");
    row("two", R"("rtsp://u:s1@h/" "rtsp://v:s2@h/")", R"("rtsp://u:***@h/" "rtsp://v:***@h/")");
    row("query", R"("http://h/x?user=u&PassWord=se\"c&q=1")",
        R"("http://h/x?user=u&PassWord=***&q=1")");
    row("short query", R"("http://h/?pwd=secret" 5)", R"("http://h/?pwd=***" 5)");
}

void TestLog::passwordsAreMasked()
{
    QFETCH(QString, line);
    QTEST(maskedLine(line), "masked");
}

QTEST_GUILESS_MAIN(TestLog)
#include "tst_log.moc"
