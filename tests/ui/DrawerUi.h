#pragma once

#include "UiHarness.h"

#include <QQuickItem>
#include <QTest>

enum Page { Info, Gimbal, Functions, Sbus, Joystick, Positioning, Firmware };

/// The harness, looking for its objects among the visible items too: what a Repeater makes is in
/// no other tree.
class DrawerUi : public UiHarness
{
public:
    using UiHarness::UiHarness;

    QObject *object(const QString &name) const
    {
        QObject *found = name.isEmpty() ? window() : window()->findChild<QObject *>(name);
        return found ? found : named(window()->contentItem(), name);
    }

    QQuickItem *item(const QString &name) const { return qobject_cast<QQuickItem *>(object(name)); }

    QVariant property(const QString &name, const char *property) const
    {
        const QObject *const found = object(name);
        if (!found)
            qFatal("no object %s", qPrintable(name));
        return found->property(property);
    }

    QPoint at(const QString &name, QPointF point) const
    {
        const QQuickItem *const found = item(name);
        if (!found)
            qFatal("no item %s", qPrintable(name));
        return found->mapToScene(point).toPoint();
    }

    QPoint centre(const QString &name) const
    {
        return at(name, {property(name, "width").toDouble() / 2,
                         property(name, "height").toDouble() / 2});
    }

    void press(const QString &name)
    {
        QTest::mousePress(window(), Qt::LeftButton, {}, centre(name));
    }

    void click(const QString &name)
    {
        QTest::mouseClick(window(), Qt::LeftButton, {}, centre(name));
    }

private:
    static QQuickItem *named(QQuickItem *parent, const QString &name)
    {
        for (QQuickItem *child : parent->childItems()) {
            if (child->objectName() == name)
                return child;
            if (QQuickItem *found = named(child, name))
                return found;
        }
        return nullptr;
    }
};

/// Opens the drawer, if it is not open, on that page.
void openPage(DrawerUi &ui, Page page);
/// Replaces what stands in the field or the editable combo box.
void typeInto(DrawerUi &ui, const QString &field, const QString &text);
/// Picks an entry of a combo box from its list.
void pick(DrawerUi &ui, const QString &box, int index);
/// What the open message box says; empty when there is none.
QString boxText(const DrawerUi &ui);

/// Sets the length byte and appends the checksum of a long frame.
QByteArray sealed(QByteArray frame);
QByteArray longFrame(const char *hex);
/// As PodSocket tells frames.
QString shown(const QByteArray &frame);
