// Brings the byte tables of a document up to date with the code, or tells where they differ.
// Usage: protocol_tables [--check] docs/protocol.md

#include "Markdown.h"
#include "ProtocolTables.h"

#include <QCoreApplication>
#include <QFile>
#include <QStringList>
#include <QTextStream>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

int fail(const QString &text)
{
    QTextStream(stderr) << "protocol_tables: " << text << Qt::endl;
    return 1;
}

/// The first line in which the two differ, both versions of it.
QString difference(const QString &document, const QString &wanted)
{
    const QStringList is = document.split(u'\n');
    const QStringList shouldBe = wanted.split(u'\n');
    const auto [left, right] = std::ranges::mismatch(is, shouldBe);
    return u"line %1\n is:        %2\n should be: %3\nrun scripts/protocol-tables.sh"_s
        .arg(left - is.begin() + 1)
        .arg(left == is.end() ? QString() : *left, right == shouldBe.end() ? QString() : *right);
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    QStringList arguments = QCoreApplication::arguments().mid(1);
    const bool check = arguments.removeAll(u"--check"_s) > 0;
    if (arguments.size() != 1)
        return fail(u"usage: protocol_tables [--check] DOCUMENT"_s);

    QFile file(arguments.first());
    if (!file.open(QIODevice::ReadOnly))
        return fail(file.errorString());
    const QString document = QString::fromUtf8(file.readAll());
    file.close();

    Tables tables;
    addPodTables(tables);
    addUpgradeTables(tables);
    QString error;
    const QString wanted = markdown::withTables(document, tables, &error);
    if (!error.isEmpty())
        return fail(error);
    for (auto table = tables.cbegin(); table != tables.cend(); ++table) {
        if (!wanted.contains(table.value()))
            return fail(u"the document has no table "_s + table.key());
    }
    if (check)
        return wanted == document ? 0 : fail(difference(document, wanted));
    if (!file.open(QIODevice::WriteOnly) || file.write(wanted.toUtf8()) < 0)
        return fail(file.errorString());
    return 0;
}
