#pragma once
// nudorafilter: the Nudora pipeline as a GStreamer element. BGRA frames come
// in and leave at the same size, stabilised from a gyro and styled.
//
//   gst-launch-1.0 filesrc location=clip.mp4 ! decodebin ! videoconvert !
//     video/x-raw,format=BGRA ! nudorafilter stabilize=true gyro-source=log
//     gyro-log=clip.gcsv focal-px=1536 ! videoconvert ! x264enc ! mp4mux !
//     filesink location=out.mp4
//
// Frame times: with a gyro log, a buffer's stream time (its time in the
// file) is taken as the video time the log's clock is matched to, and the
// log is replayed in step with the frames; with the IIO gyroscope, the
// buffer's running time plus the element's base time, which on GStreamer's
// default monotonic system clock is the clock the gyro's readings carry.
//
// The settings are read when the element starts; a bad one (an unknown
// style, a missing log, a malformed orientation) stops it with an error
// message naming the property. The library's pipeline is one per process,
// so one nudorafilter per process at a time.

#include <gst/gst.h>
#include <gst/video/gstvideofilter.h>

G_BEGIN_DECLS

#define GST_TYPE_NUDORA_FILTER (gst_nudora_filter_get_type())
G_DECLARE_FINAL_TYPE(GstNudoraFilter, gst_nudora_filter, GST, NUDORA_FILTER, GstVideoFilter)

G_END_DECLS
