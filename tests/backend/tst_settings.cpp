// The settings type that QML gets where Qt does not bring one, and its file.

#include "LogCatcher.h"
#include "compat/QtCompat.h"
#include "compat/Settings.h"

#include <QDir>
#include <QFile>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

class TestSettings : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void writesThroughToGroupAndKey();
    void missingFileGivesDefaults();
    void corruptFileGivesDefaults();
    void unwritableFileWarns_data();
    void unwritableFileWarns();
    void qmlUsesIt();

private:
    QString filePath() const { return m_folder->filePath(u"device_config.ini"_s); }

    std::unique_ptr<compat::Settings> open(const QString &path, const QString &category) const;
    void writeFile(const QByteArray &content) const;

    std::unique_ptr<QTemporaryDir> m_folder;
};

void TestSettings::init() { m_folder = std::make_unique<QTemporaryDir>(); }

std::unique_ptr<compat::Settings> TestSettings::open(const QString &path,
                                                     const QString &category) const
{
    auto settings = std::make_unique<compat::Settings>();
    settings->setLocation(QUrl::fromLocalFile(path));
    settings->setCategory(category);
    return settings;
}

void TestSettings::writeFile(const QByteArray &content) const
{
    QFile file(filePath());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
}

void TestSettings::writesThroughToGroupAndKey()
{
    const auto tcp = open(filePath(), u"TCP"_s);
    const auto general = open(filePath(), u"General"_s);
    tcp->setValue(u"deviceIp"_s, u"192.168.1.7"_s);
    tcp->setValue(u"devicePort"_s, 2001);
    general->setValue(u"languageIndex"_s, 1);
    // Others see it while both are still open.
    const QSettings file(filePath(), QSettings::IniFormat);
    QCOMPARE(file.value(u"TCP/deviceIp"_s).toString(), u"192.168.1.7"_s);
    QCOMPARE(file.value(u"TCP/devicePort"_s).toInt(), 2001);
    QCOMPARE(open(filePath(), u"General"_s)->value(u"languageIndex"_s, 0).toInt(), 1);
    QFile raw(filePath());
    QVERIFY(raw.open(QIODevice::ReadOnly));
    const QByteArray text = raw.readAll();
    QVERIFY2(text.contains("[TCP]\ndeviceIp=192.168.1.7\ndevicePort=2001"), text.constData());

    // Two writers of one file do not undo each other.
    tcp->setValue(u"devicePort"_s, 2002);
    QCOMPARE(open(filePath(), u"General"_s)->value(u"languageIndex"_s, 0).toInt(), 1);
}

void TestSettings::missingFileGivesDefaults()
{
    const auto settings = open(filePath(), u"COM"_s);
    QCOMPARE(settings->value(u"baudRate"_s, 115200).toInt(), 115200);
    QVERIFY(!settings->value(u"baudRate"_s).isValid());
    QVERIFY2(!QFile::exists(filePath()), "reading created the file");
    settings->setValue(u"baudRate"_s, 9600);
    QVERIFY(QFile::exists(filePath()));
    QCOMPARE(settings->value(u"baudRate"_s, 115200).toInt(), 9600);
    // The same object turns to another group.
    settings->setCategory(u"RTSP"_s);
    QCOMPARE(settings->value(u"baudRate"_s, 115200).toInt(), 115200);
}

void TestSettings::corruptFileGivesDefaults()
{
    writeFile("[TCP\ndevicePort\n=\x01\xFF\n[[]]\n\0\0garbage");
    const auto settings = open(filePath(), u"TCP"_s);
    QCOMPARE(settings->value(u"devicePort"_s, 2000).toInt(), 2000);
    // It is written over, without complaint, and reads well from then on.
    const LogCatcher log;
    settings->setValue(u"devicePort"_s, 2005);
    QVERIFY(!log.contains(u"cannot write"_s));
    const QSettings file(filePath(), QSettings::IniFormat);
    QCOMPARE(file.value(u"TCP/devicePort"_s).toInt(), 2005);
}

void TestSettings::unwritableFileWarns_data()
{
    QTest::addColumn<QString>("path");
    // Also for root, whom no permission stops: a folder in the file's place, a file in the
    // folder's.
    QTest::newRow("folder") << u"%1"_s;
    QTest::newRow("no folder") << u"%1/device_config.ini/below.ini"_s;
}

void TestSettings::unwritableFileWarns()
{
    QFETCH(QString, path);
    writeFile("[TCP]\n");
    const auto settings = open(path.arg(m_folder->path()), u"TCP"_s);
    QCOMPARE(settings->value(u"devicePort"_s, 2000).toInt(), 2000);
    const LogCatcher log;
    settings->setValue(u"devicePort"_s, 2001);
    QVERIFY(log.contains(u"cannot write settings file"_s));
}

void TestSettings::qmlUsesIt()
{
    compat::provideSettingsType();
    QQmlEngine engine;
    QQmlComponent component(&engine);
    component.setData(R"(
        import QtQml
        import QtCore
        Settings {
            category: "COM"
            location: "file:device_config.ini"
            property int before: 0
            Component.onCompleted: {
                before = value("baudRate", 115200)
                setValue("baudRate", 57600)
            }
        })",
                      QUrl(u"qrc:/qt/qml/podconsole/Main.qml"_s));
    // The file lies in the working directory, wherever the QML comes from.
    const QString before = QDir::currentPath();
    const auto goBack = qScopeGuard([&] { QDir::setCurrent(before); });
    QVERIFY(QDir::setCurrent(m_folder->path()));
    const std::unique_ptr<QObject> settings(component.create());
    QVERIFY2(settings, qPrintable(component.errorString()));
    QCOMPARE(settings->property("before").toInt(), 115200);
    QCOMPARE(QSettings(filePath(), QSettings::IniFormat).value(u"COM/baudRate"_s).toInt(), 57600);
}

QTEST_GUILESS_MAIN(TestSettings)
#include "tst_settings.moc"
