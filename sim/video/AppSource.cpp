#include "AppSource.h"

bool isPlaying(GstAppSrc *source)
{
    GstState state = GST_STATE_NULL;
    gst_element_get_state(GST_ELEMENT(source), &state, nullptr, 0);
    return state == GST_STATE_PLAYING;
}
