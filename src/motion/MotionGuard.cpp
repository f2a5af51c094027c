#include "MotionGuard.h"

#include <QDebug>
#include <QGuiApplication>

#include <algorithm>
#include <utility>

namespace {

motion::Started startedBy(const QString &command)
{
    return motion::startedBy(std::string_view(command.toStdString()));
}

QString stopOf(MotionGuard::Kind kind)
{
    const std::string_view stop = motion::motionOf(motion::Kind(kind)).stop.name;
    return QString::fromLatin1(stop.data(), qsizetype(stop.size()));
}

} // namespace

MotionGuard::MotionGuard(QObject *parent)
    : QObject(parent)
{
    connect(qGuiApp, &QGuiApplication::applicationStateChanged, this,
            [this](Qt::ApplicationState state) {
                if (state != Qt::ApplicationActive)
                    releaseAll();
            });
    connect(qGuiApp, &QCoreApplication::aboutToQuit, this, &MotionGuard::releaseAll);
}

MotionGuard::~MotionGuard() = default;

void MotionGuard::setWindow(QWindow *window)
{
    if (window == m_window)
        return;
    if (m_window)
        m_window->disconnect(this);
    m_window = window;
    if (window) {
        connect(window, &QWindow::activeChanged, this, &MotionGuard::releaseUnlessActive);
        connect(window, &QWindow::visibilityChanged, this, &MotionGuard::releaseUnlessActive);
    }
    emit windowChanged();
}

void MotionGuard::releaseUnlessActive()
{
    const bool shown = m_window->isVisible() && m_window->visibility() != QWindow::Minimized;
    if (!shown || !m_window->isActive())
        releaseAll();
}

void MotionGuard::setLinkUp(bool up)
{
    if (up == m_linkUp)
        return;
    m_linkUp = up;
    emit linkUpChanged();
    if (up)
        return;
    m_holds.clear();
    emit allReleased();
}

void MotionGuard::press(const QString &source, const QString &command, const QVariantList &speeds)
{
    const motion::Started started = startedBy(command);
    if (!started) {
        qWarning() << "no such motion:" << command;
        return;
    }
    const Kind kind = Kind(started.motion->kind);
    qsizetype index = indexOf(source);
    if (index >= 0 && m_holds.at(index).kind != kind) {
        release(source);
        index = -1;
    }
    const Hold hold{source, command, speeds, kind};
    if (index >= 0)
        m_holds[index] = hold;
    else
        m_holds.append(hold);
    emit commandDue(command, speeds);
}

void MotionGuard::repeat(const QString &source)
{
    const qsizetype index = indexOf(source);
    if (index < 0)
        return;
    const Hold hold = m_holds.at(index);
    emit commandDue(hold.command, hold.speeds);
}

void MotionGuard::release(const QString &source)
{
    const qsizetype index = indexOf(source);
    if (index >= 0)
        stopAgain(m_holds.takeAt(index).kind);
}

void MotionGuard::releaseGroup(const QString &prefix)
{
    QList<Hold> ended;
    m_holds.removeIf([&](const Hold &hold) {
        const bool ends = hold.source.startsWith(prefix);
        if (ends)
            ended.append(hold);
        return ends;
    });
    for (const Hold &hold : std::as_const(ended))
        emit stopDue(stopOf(hold.kind));
    for (const Kind kind : {Move, Zoom, Focus}) {
        if (std::ranges::find(ended, kind, &Hold::kind) != ended.end())
            resume(kind);
    }
}

void MotionGuard::releaseAll()
{
    releaseGroup({});
    emit allReleased();
}

void MotionGuard::stopAgain(Kind kind)
{
    emit stopDue(stopOf(kind));
    resume(kind);
}

bool MotionGuard::isHeld(const QString &source) const { return indexOf(source) >= 0; }

qsizetype MotionGuard::indexOf(const QString &source) const
{
    const auto hold = std::ranges::find(m_holds, source, &Hold::source);
    return hold == m_holds.end() ? -1 : hold - m_holds.begin();
}

void MotionGuard::resume(Kind kind)
{
    const auto held = std::find_if(m_holds.crbegin(), m_holds.crend(),
                                   [kind](const Hold &hold) { return hold.kind == kind; });
    if (held == m_holds.crend())
        return;
    // Copies: a slot may change the list.
    const auto [command, speeds] = std::pair(held->command, held->speeds);
    emit commandDue(command, speeds);
}
