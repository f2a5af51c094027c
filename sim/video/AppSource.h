#pragma once

#include <gst/app/gstappsrc.h>

/// Whether the source's pipeline plays, and pictures pushed into it are stamped rightly. One that
/// is about to play has its clock before it knows when it began: a picture would get the clock's
/// whole time and wait for that moment, and all others behind it.
bool isPlaying(GstAppSrc *source);
