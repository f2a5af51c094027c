#include "DrawerUi.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {

constexpr int kWaitMs = 10000;

} // namespace

void openPage(DrawerUi &ui, Page page)
{
    ui.item(u"podControlDrawer"_s)->setVisible(true);
    ui.click(u"pageButton%1"_s.arg(page));
    QCOMPARE(ui.property(u"podControlDrawer"_s, "currentPage").toInt(), int(page));
}

void typeInto(DrawerUi &ui, const QString &field, const QString &text)
{
    // At the left end: an editable combo box has its arrow on the right.
    QTest::mouseClick(ui.window(), Qt::LeftButton, {}, ui.at(field, {12, 15}));
    QTest::keySequence(ui.window(), QKeySequence::SelectAll);
    QTest::keyClick(ui.window(), Qt::Key_Delete);
    for (const QChar character : text)
        QTest::keyClick(ui.window(), character.toLatin1());
}

void pick(DrawerUi &ui, const QString &box, int index)
{
    QTest::mouseClick(ui.window(), Qt::LeftButton, {},
                      ui.at(box, {ui.item(box)->width() - 10, 15}));
    auto *popup = ui.property(box, "popup").value<QObject *>();
    QTRY_VERIFY_WITH_TIMEOUT(popup->property("opened").toBool(), kWaitMs);
    auto *list = popup->property("contentItem").value<QQuickItem *>();
    QMetaObject::invokeMethod(list, "positionViewAtIndex", Q_ARG(int, index), Q_ARG(int, 4));
    QQuickItem *entry = nullptr;
    QTRY_VERIFY_WITH_TIMEOUT(QMetaObject::invokeMethod(list, "itemAtIndex",
                                                       Q_RETURN_ARG(QQuickItem *, entry),
                                                       Q_ARG(int, index))
                                 && entry,
                             kWaitMs);
    QTest::mouseClick(ui.window(), Qt::LeftButton, {},
                      entry->mapToScene(entry->boundingRect().center()).toPoint());
    QTRY_VERIFY_WITH_TIMEOUT(!popup->property("visible").toBool(), kWaitMs);
}

QString boxText(const DrawerUi &ui)
{
    return ui.property(u"customDialog"_s, "opened").toBool()
               ? ui.property(u"dialogText"_s, "text").toString()
               : QString();
}

QByteArray sealed(QByteArray frame)
{
    frame[2] = char(frame.size() + 1);
    quint8 sum = 0;
    for (const char byte : frame)
        sum = quint8(sum + quint8(byte));
    return frame + char(sum);
}

QByteArray longFrame(const char *hex) { return sealed(QByteArray::fromHex(hex)); }

QString shown(const QByteArray &frame) { return QString::fromLatin1(frame.toHex(' ')); }
