// A plugin that Qt loads into the unchanged console program, for the fault matrix and the soak. It
// tells where a control stands, what a property holds and which texts the operator was shown; all
// input goes to the console through the window system instead.

#include "CMain.h"
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
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

constexpr int kRetryMs = 20;
/// What the operator reads: object and property.
constexpr std::array<std::pair<const char *, const char *>, 5> kShown = {{
    {"statusText", "text"},
    {"videoRenderer", "status"},
    {"dialogText", "text"},
    {"controlconnectstate", "text"},
    {"noticeText", "text"},
}};

QObject *named(QQuickItem *parent, const QString &name)
{
    for (QQuickItem *child : parent->childItems()) {
        if (child->objectName() == name)
            return child;
        if (QObject *found = named(child, name))
            return found;
    }
    return nullptr;
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
        lookForWindow();
    }

private slots:
    void noteShown()
    {
        for (const auto &[object, property] : kShown) {
            if (sender()->objectName() == QLatin1StringView(object))
                m_said.append(sender()->property(property).toString().replace(u'\n', u' '));
        }
    }

private:
    void lookForWindow()
    {
        for (QWindow *window : QGuiApplication::topLevelWindows()) {
            if (window->objectName().isEmpty() && window->findChild<QObject *>(u"statusText"_s))
                m_window = qobject_cast<QQuickWindow *>(window);
        }
        if (!m_window)
            return QTimer::singleShot(kRetryMs, this, &Probe::lookForWindow);
        const QMetaMethod note = metaObject()->method(metaObject()->indexOfSlot("noteShown()"));
        for (const auto &[name, property] : kShown) {
            QObject *shown = object(QLatin1StringView(name));
            const QMetaProperty meta =
                shown->metaObject()->property(shown->metaObject()->indexOfProperty(property));
            connect(shown, meta.notifySignal(), this, note);
            m_said.append(meta.read(shown).toString());
        }
    }

    CMain *backend() const
    {
        return qobject_cast<CMain *>(
            qmlEngine(m_window)->rootContext()->contextProperty(u"cMain"_s).value<QObject *>());
    }

    QObject *object(const QString &name) const
    {
        if (name == "cMain"_L1)
            return backend();
        if (name == "mainWindow"_L1)
            return m_window;
        auto *found = m_window->findChild<QObject *>(name);
        return found ? found : named(m_window->contentItem(), name);
    }

    QString execute(const QStringList &words)
    {
        if (!m_window)
            return u"no window"_s;
        const QString verb = words.value(0);
        if (verb == "said"_L1)
            return m_said.join(u'|');
        if (verb == "forget"_L1) {
            m_said.clear();
            return {};
        }
        if (verb == "upgrade"_L1) {
            OnlineUpgrade::Environment environment;
            environment.listPorts = [port = words.value(1)] {
                return QList<SerialPortEntry>{{port, pod_port::kVendorId, pod_port::kProductId}};
            };
            environment.worker.serverPort = words.value(2).toUShort();
            backend()->onlineUpgrade()->setEnvironment(environment);
            return {};
        }
        QObject *found = object(words.value(1));
        if (verb == "get"_L1)
            return found ? textOf(found->property(words.value(2).toLatin1().constData()))
                         : QString();
        return verb == "where"_L1 ? placeOf(qobject_cast<QQuickItem *>(found)) : u"what?"_s;
    }

    static QString textOf(const QVariant &value)
    {
        if (value.typeId() != QMetaType::QRectF)
            return value.toString();
        const QSize size = value.toRectF().size().toSize();
        return u"%1x%2"_s.arg(size.width()).arg(size.height());
    }

    /// The middle, on the screen, of a control that can be used; else nothing.
    static QString placeOf(const QQuickItem *item)
    {
        if (!item || !item->isVisible() || !item->isEnabled())
            return {};
        const QPointF middle(item->width() / 2, item->height() / 2);
        const QPoint place = item->mapToGlobal(middle).toPoint();
        return u"%1 %2"_s.arg(place.x()).arg(place.y());
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
