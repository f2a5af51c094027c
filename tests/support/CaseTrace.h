#pragma once

#include <QDebug>
#include <QTest>

/// Says which case of a loop the test function failed in: made at the beginning of the loop's body
/// from the values that tell the case from the others.
class CaseTrace
{
public:
    template<typename... Values>
    explicit CaseTrace(const Values &...values)
    {
        (QDebug(&m_case).nospace() << ... << values);
    }
    ~CaseTrace()
    {
        if (QTest::currentTestFailed())
            qInfo("in the case %s", qPrintable(m_case));
    }
    Q_DISABLE_COPY(CaseTrace)

private:
    QString m_case;
};
