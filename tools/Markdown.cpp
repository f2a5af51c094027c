#include "Markdown.h"

namespace markdown {
namespace {

const QString kTableBegin = QStringLiteral("<!-- table ");
const QString kTableEnd = QStringLiteral("<!-- end -->");
const QString kCommentEnd = QStringLiteral(" -->");

QString row(const QStringList &cells)
{
    return QStringLiteral("| ") + cells.join(QStringLiteral(" | ")) + QStringLiteral(" |\n");
}

} // namespace

QString table(const QStringList &header, const QList<QStringList> &rows)
{
    QString text = row(header);
    text += QStringLiteral("|%1\n").arg(QStringLiteral(" --- |").repeated(header.size()));
    for (const QStringList &cells : rows)
        text += row(cells);
    return text;
}

QString code(const QString &text) { return u'`' + text + u'`'; }

QString hex(QByteArrayView bytes, qsizetype shown)
{
    const auto text = [](QByteArrayView part) {
        return QString::fromLatin1(part.toByteArray().toHex(' ').toUpper());
    };
    if (bytes.size() <= shown)
        return text(bytes);
    constexpr qsizetype kLast = 3;
    return text(bytes.first(shown - kLast)) + QStringLiteral(" … ") + text(bytes.last(kLast));
}

QString hex(quint8 byte) { return hex(QByteArray(1, static_cast<char>(byte))); }

QString withTables(const QString &document, const QHash<QString, QString> &contentOf,
                   QString *error)
{
    QString result;
    qsizetype done = 0;
    for (;;) {
        const qsizetype begin = document.indexOf(kTableBegin, done);
        if (begin < 0)
            return result + document.mid(done);
        const qsizetype nameAt = begin + kTableBegin.size();
        const qsizetype nameEnd = document.indexOf(kCommentEnd, nameAt);
        const qsizetype end = document.indexOf(kTableEnd, nameAt);
        const QString name = document.mid(nameAt, nameEnd - nameAt);
        if (nameEnd < 0 || end < nameEnd || !contentOf.contains(name)) {
            *error = QStringLiteral("table without end, or of an unknown name: ") + name;
            return {};
        }
        result +=
            document.mid(done, nameEnd + kCommentEnd.size() - done) + u'\n' + contentOf.value(name);
        done = end;
    }
}

} // namespace markdown
