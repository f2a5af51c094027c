#pragma once

#include <QObject>
#include <QUrl>

/// Where the operator's manual lies on this machine: installed beside the program, as a build makes
/// it, or among the sources that the program was built from.
class Manual : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /// The file in the interface's language, 0 Chinese, 1 English; empty where there is none.
    Q_INVOKABLE QUrl page(int languageIndex) const;
};
