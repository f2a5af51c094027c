// A plugin that Qt loads into the unchanged console program, for the fault matrix and the soak. It
// tells where a control stands, what a property holds and which texts the operator was shown; all
// input goes to the console through the window system instead.

#include "backend/CMain.h"
#include "firmware/online/OnlineUpgrade.h"

#include <QGenericPlugin>
#include <QGuiApplication>
#include <QLocalServer>
#include <QLocalSocket>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQmlProperty>
#include <QQuickItem>
#include <QQuickWindow>

using namespace Qt::StringLiterals;

namespace {

/// What the operator reads: objects and their properties.
constexpr auto kShown = std::to_array<std::pair<QLatin1StringView, const char *>>({
    {"statusText"_L1, "text"},
    {"videoRenderer"_L1, "status"},
    {"dialogText"_L1, "text"},
    {"controlconnectstate"_L1, "text"},
    {"noticeText"_L1, "text"},
});

QObject *named(QQuickItem *parent, const QString &name)
{
    for (QQuickItem *child : parent->childItems()) {
        QObject *found = child->objectName() == name ? child : named(child, name);
        if (found)
            return found;
    }
    return nullptr;
}

QString textOf(const QVariant &value)
{
    const QSize size = value.toRectF().size().toSize();
    return value.typeId() == QMetaType::QRectF ? u"%1x%2"_s.arg(size.width()).arg(size.height())
                                               : value.toString();
}

/// The middle, on the screen, of a control that can be used; else nothing.
QString placeOf(const QQuickItem *item)
{
    if (!item || !item->isVisible() || !item->isEnabled())
        return {};
    const QPoint place = item->mapToGlobal({item->width() / 2, item->height() / 2}).toPoint();
    return u"%1 %2"_s.arg(place.x()).arg(place.y());
}

} // namespace

class Probe : public QObject
{
    Q_OBJECT

public:
    explicit Probe(const QString &socket)
    {
        m_server.listen(socket);
        connect(&m_server, &QLocalServer::newConnection, this, [this] {
            QLocalSocket *client = m_server.nextPendingConnection();
            connect(client, &QLocalSocket::readyRead, this, [this, client] {
                while (client->canReadLine()) {
                    const QString line = QString::fromUtf8(client->readLine()).trimmed();
                    client->write(execute(line.split(u' ')).toUtf8() + '\n');
                }
            });
        });
    }

private slots:
    void noteShown()
    {
        for (const auto &[name, property] : kShown) {
            if (sender()->objectName() == name)
                m_said.append(sender()->property(property).toString().replace(u'\n', u' '));
        }
    }

private:
    void lookForWindow()
    {
        for (QWindow *window : QGuiApplication::topLevelWindows()) {
            if (window->objectName().isEmpty()
                && window->findChild<QObject *>(u"statusText"_s) != nullptr)
                m_window = qobject_cast<QQuickWindow *>(window);
        }
        if (!m_window)
            return;
        for (const auto &[name, property] : kShown) {
            const QQmlProperty shown(object(name), QLatin1StringView(property));
            shown.connectNotifySignal(this, SLOT(noteShown()));
            m_said.append(shown.read().toString());
        }
    }

    QObject *object(const QString &name) const
    {
        if (name == "cMain"_L1)
            return qmlEngine(m_window)->rootContext()->contextProperty(name).value<QObject *>();
        if (name == "mainWindow"_L1)
            return m_window;
        auto *found = m_window->findChild<QObject *>(name);
        return found ? found : named(m_window->contentItem(), name);
    }

    QString execute(const QStringList &words)
    {
        if (!m_window)
            lookForWindow();
        const QString verb = words.value(0);
        QObject *found = m_window ? object(words.value(1)) : nullptr;
        if (verb == "said"_L1)
            return m_said.join(u'|');
        if (verb == "forget"_L1)
            m_said.clear();
        if (verb == "get"_L1 && found)
            return textOf(found->property(words.value(2).toLatin1().constData()));
        if (verb == "where"_L1)
            return placeOf(qobject_cast<QQuickItem *>(found));
        if (verb == "upgrade"_L1 && found) { // with the device and the server given
            OnlineUpgrade::Environment environment;
            environment.listPorts = [port = words.value(2)] {
                return QList<SerialPortEntry>{{port, pod_port::kVendorId, pod_port::kProductId}};
            };
            environment.worker.serverPort = words.value(3).toUShort();
            qobject_cast<CMain *>(found)->onlineUpgrade()->setEnvironment(environment);
        }
        return {};
    }

    QLocalServer m_server;
    QQuickWindow *m_window = nullptr;
    QStringList m_said;
};

class ProbePlugin : public QGenericPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QGenericPluginFactoryInterface_iid FILE "Probe.json")

public:
    QObject *create(const QString &, const QString &socket) override { return new Probe(socket); }
};

#include "Probe.moc"
