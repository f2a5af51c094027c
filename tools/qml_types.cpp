// Describes for qmllint the types that the console registers by hand, one folder and file for each,
// from the classes themselves; or tells which description differs.
// Usage: qml_types [--check] scripts/qmltypes

#include "help/Manual.h"
#include "input/JoystickInput.h"
#include "motion/MotionGuard.h"
#include "recorder/FlightRecorder.h"
#include "settings/SettingsFile.h"
#include "video/VideoRenderer.h"

#include <QCoreApplication>
#include <QFile>
#include <QMetaEnum>
#include <QMetaMethod>
#include <QMetaObject>
#include <QMetaProperty>
#include <QStringList>
#include <QTextStream>

using namespace Qt::StringLiterals;

namespace {

struct Type
{
    QString module; // its folder too
    const QMetaObject &meta;
};

const QList<Type> &types()
{
    static const QList<Type> list = {
        {u"FlightRecorder"_s, FlightRecorder::staticMetaObject},
        {u"Joystick"_s, JoystickInput::staticMetaObject},
        {u"Manual"_s, Manual::staticMetaObject},
        {u"MotionGuard"_s, MotionGuard::staticMetaObject},
        {u"SettingsFile"_s, SettingsFile::staticMetaObject},
        {u"VideoRenderer"_s, VideoRenderer::staticMetaObject},
    };
    return list;
}

/// The attributes of a type, without the class around it: `type: "double"; isList: true`.
QString typeText(QString name, const QMetaObject &meta)
{
    QString more;
    if (name.endsWith(u'*')) {
        name.chop(1);
        more += u"; isPointer: true"_s;
    }
    if (name.startsWith("QList<"_L1)) {
        name = name.sliced(6).chopped(1);
        more += u"; isList: true"_s;
    }
    name.remove(QString::fromLatin1(meta.className()) + u"::"_s);
    return u"type: \"%1\"%2"_s.arg(name, more);
}

QString enumText(const QMetaEnum &values)
{
    QStringList keys;
    for (int i = 0; i < values.keyCount(); ++i)
        keys += u'"' + QString::fromLatin1(values.key(i)) + u'"';
    return u"        Enum { name: \"%1\"; values: [%2] }\n"_s.arg(
        QString::fromLatin1(values.name()), keys.join(u", "_s));
}

QString propertyText(const QMetaProperty &property, const QMetaObject &meta)
{
    QString text = u"        Property { name: \"%1\"; %2; index: %3"_s.arg(
        QString::fromLatin1(property.name()),
        typeText(QString::fromLatin1(property.typeName()), meta),
        QString::number(property.propertyIndex() - meta.propertyOffset()));
    if (property.hasNotifySignal())
        text += u"; notify: \"%1\""_s.arg(QString::fromLatin1(property.notifySignal().name()));
    return text + (property.isWritable() ? u" }\n"_s : u"; isReadonly: true }\n"_s);
}

QString methodText(const QMetaMethod &method, const QMetaObject &meta)
{
    QString text = u"        %1 {\n            name: \"%2\"\n"_s.arg(
        method.methodType() == QMetaMethod::Signal ? u"Signal"_s : u"Method"_s,
        QString::fromLatin1(method.name()));
    if (method.returnType() != QMetaType::Void)
        text += u"            %1\n"_s.arg(typeText(QString::fromLatin1(method.typeName()), meta));
    const QList<QByteArray> parameters = method.parameterTypes();
    for (qsizetype i = 0; i < parameters.size(); ++i) {
        text += u"            Parameter { name: \"%1\"; %2 }\n"_s.arg(
            QString::fromLatin1(method.parameterNames().at(i)),
            typeText(QString::fromLatin1(parameters.at(i)), meta));
    }
    return text + u"        }\n"_s;
}

QString description(const Type &type)
{
    const QMetaObject &meta = type.meta;
    const QString name = QString::fromLatin1(meta.className());
    QString text =
        u"import QtQuick.tooling 1.2\n\n// Written by scripts/qml-types.sh.\nModule {\n"
        "    Component {\n"
        "        name: \"%1\"\n        prototype: \"%2\"\n"
        "        exports: [\"%3/%1 1.0\"]\n        exportMetaObjectRevisions: [256]\n"_s.arg(
            name, QString::fromLatin1(meta.superClass()->className()), type.module);
    for (int i = meta.enumeratorOffset(); i < meta.enumeratorCount(); ++i)
        text += enumText(meta.enumerator(i));
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i)
        text += propertyText(meta.property(i), meta);
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        if (meta.method(i).access() == QMetaMethod::Public)
            text += methodText(meta.method(i), meta);
    }
    return text + u"    }\n}\n"_s;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    QStringList arguments = QCoreApplication::arguments().mid(1);
    const bool check = arguments.removeAll(u"--check"_s) > 0;
    QTextStream errors(stderr);
    if (arguments.size() != 1) {
        errors << "usage: qml_types [--check] FOLDER" << Qt::endl;
        return 1;
    }
    int differences = 0;
    for (const Type &type : types()) {
        QFile file(u"%1/%2/types.qmltypes"_s.arg(arguments.first(), type.module));
        const QByteArray wanted = description(type).toUtf8();
        if (file.open(QIODevice::ReadOnly) && file.readAll() == wanted)
            continue;
        file.close();
        if (check) {
            errors << file.fileName() << " is not the class; run scripts/qml-types.sh" << Qt::endl;
            ++differences;
        } else if (!file.open(QIODevice::WriteOnly) || file.write(wanted) < 0) {
            errors << file.fileName() << ": " << file.errorString() << Qt::endl;
            return 1;
        }
    }
    return differences > 0;
}
