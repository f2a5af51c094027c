#pragma once

#include <QByteArray>
#include <QString>

/// The bootloader's own view of the frames on its line, written without the console's code so that
/// a mistake there does not cancel out here.
namespace line_codec {

struct Command
{
    quint8 type = 0;
    quint16 first = 1;
    quint16 second = 1;
    QByteArray data;
};

struct Response
{
    quint16 index = 0;
    quint8 status = 0;
};

/// `line` from '~' to the carriage return. Checks characters, length and checksum; on failure a
/// text in `error`.
bool parse(const QByteArray &line, Command &command, QString &error);
bool parse(const QByteArray &line, Response &response, QString &error);

QByteArray build(const Command &command);
QByteArray build(const Response &response);

} // namespace line_codec
