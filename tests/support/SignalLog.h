#pragma once

#include <QMetaMethod>
#include <QObject>
#include <QStringList>

/// Notes every signal of an object's own class `of`, without those it inherits, in the order of
/// their coming, by name and with its arguments: "connectionChanged(true)".
class SignalLog : public QObject
{
public:
    SignalLog(QObject &sender, const QMetaObject &of)
    {
        // Beyond our own methods lie ids that only qt_metacall below knows.
        const int base = QObject::staticMetaObject.methodCount();
        for (int i = of.methodOffset(); i < of.methodCount(); ++i) {
            if (of.method(i).methodType() != QMetaMethod::Signal)
                continue;
            QMetaObject::connect(&sender, i, this, base + int(m_signals.size()),
                                 Qt::DirectConnection);
            m_signals.append(of.method(i));
        }
    }

    bool contains(const QString &line) const { return m_lines.contains(line); }
    /// The lines so far, joined by spaces; forgets them.
    QString take() { return std::exchange(m_lines, {}).join(u' '); }

    /// Receives every signal, whatever its signature; not for calling.
    int qt_metacall(QMetaObject::Call call, int id, void **arguments) override
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

private:
    QList<QMetaMethod> m_signals;
    QStringList m_lines;
};
