#include "Manual.h"

#include <QCoreApplication>
#include <QDir>

using namespace Qt::StringLiterals;

QUrl Manual::page(int languageIndex) const
{
    constexpr int kEnglish = 1;
    const QString name = languageIndex == kEnglish ? u"manual"_s : u"manual.zh"_s;
    QDir folder(QCoreApplication::applicationDirPath());
    for (const QString &place : {QStringLiteral(PODCONSOLE_MANUAL_FOLDER), u"manual"_s}) {
        const QString file = QDir::cleanPath(folder.filePath(place + u'/' + name + u".html"_s));
        if (QFile::exists(file))
            return QUrl::fromLocalFile(file);
    }
    do {
        const QString file = folder.filePath(u"docs/"_s + name + u".md"_s);
        if (QFile::exists(file))
            return QUrl::fromLocalFile(file);
    } while (folder.cdUp());
    return {};
}
