#pragma once

#include <QByteArrayView>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

/// Markdown as the documents have it.
namespace markdown {

QString table(const QStringList &header, const QList<QStringList> &rows);

QString code(const QString &text);

/// "FF 01": upper-case hexadecimal bytes. Of more than `shown` bytes the middle is left out.
QString hex(QByteArrayView bytes, qsizetype shown = 32);
QString hex(quint8 byte);

/// Replaces what stands between "<!-- table NAME -->" and "<!-- end -->" by what `contentOf` has
/// for the name; nothing when a table is not ended or its name is unknown.
QString withTables(const QString &document, const QHash<QString, QString> &contentOf,
                   QString *error);

} // namespace markdown
