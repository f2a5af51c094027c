#pragma once

#include <QByteArrayView>

/// What a settings file may hold so that QSettings can be let near it.
namespace settings_text {

/// True for text whose values are plain: strings, numbers, lists of them. QSettings would also make
/// any type out of a value that begins with '@', from bytes in the file, and ends the program in
/// want of memory where they tell of a length that is not there. The console writes no such value,
/// and none that begins with an escape, behind which an '@' can hide.
bool isPlain(QByteArrayView content);

} // namespace settings_text
