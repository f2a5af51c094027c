#include "SignalLog.h"

SignalLog::SignalLog(QObject &sender, const QMetaObject &of)
{
    // Beyond our own methods lie ids that only qt_metacall below knows.
    const int base = QObject::staticMetaObject.methodCount();
    for (int i = of.methodOffset(); i < of.methodCount(); ++i) {
        if (of.method(i).methodType() != QMetaMethod::Signal)
            continue;
        QMetaObject::connect(&sender, i, this, base + int(m_signals.size()), Qt::DirectConnection);
        m_signals.append(of.method(i));
    }
}

QString SignalLog::take()
{
    const QString lines = m_lines.join(u' ');
    m_lines.clear();
    return lines;
}

int SignalLog::qt_metacall(QMetaObject::Call call, int id, void **arguments)
{
    id = QObject::qt_metacall(call, id, arguments);
    if (id < 0 || call != QMetaObject::InvokeMetaMethod)
        return id;
    const QMetaMethod &signal = m_signals.at(id);
    QStringList values;
    for (int i = 0; i < signal.parameterCount(); ++i)
        values.append(QVariant(signal.parameterMetaType(i), arguments[i + 1]).toString());
    m_lines.append(QString::fromLatin1(signal.name()) + u'(' + values.join(u',') + u')');
    return -1;
}
