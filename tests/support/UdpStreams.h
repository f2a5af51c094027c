#pragma once

/// FFmpeg's UDP input cancels its receiving thread in the middle of a call, at which the thread
/// sanitizer gives up; under it the UDP cases are left out.
#ifdef __SANITIZE_THREAD__
inline constexpr bool kUdpStreamsCanRun = false;
#else
inline constexpr bool kUdpStreamsCanRun = true;
#endif
