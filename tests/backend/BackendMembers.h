#pragma once

#include <QMetaMethod>
#include <QMetaProperty>
#include <QStringList>

/// The interface of a class to QML: signals, slots, invokables, properties, in their order, group
/// by group. Members alike that follow each other stand behind what they have in common; a default
/// argument shows as a second, shorter method.
inline QStringList memberGroupsOf(const QMetaObject &meta)
{
    QStringList groups;
    const auto add = [&](const QByteArray &common, const QByteArray &name) {
        const QString start = QString::fromLatin1(common) + u':';
        if (groups.isEmpty() || !groups.last().startsWith(start))
            groups.append(start);
        groups.last() += u' ' + QString::fromLatin1(name);
    };
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        add(method.typeName() + ('(' + method.parameterTypes().join(',')) + ')'
                + (method.isConst() ? " const" : ""),
            method.name());
    }
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i) {
        const QMetaProperty property = meta.property(i);
        add(QByteArray(property.typeName()) + (property.isWritable() ? " RW " : " R ")
                + (property.isFinal() ? "FINAL " : "") + property.notifySignal().name(),
            property.name());
    }
    return groups;
}
