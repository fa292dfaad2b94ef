#include "NudoraFilter.h"

#include <gst/video/video.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include "filters/FilterNames.h"
#include "pipeline/OrvoRealTimeProcessor.h"
#include "platform/Clock.h"
#include "platform/GyroLog.h"
#include "platform/GyroLogSource.h"
#include "platform/HostGyroSource.h"
#include "platform/IioGyroSource.h"
#include "platform/MotionManager.h"
#include "platform/PixelBuffer.h"
#include "platform/SampleBuffer.h"
#include "stabilization/OrvoCameraMotionEstimator.h"
#include "stabilization/OrvoCameraParameters.h"
#include "stabilization/OrvoVideoStabilizer.h"

GST_DEBUG_CATEGORY_STATIC(nudora_filter_debug);
#define GST_CAT_DEFAULT nudora_filter_debug

namespace {

using namespace nudora;

// How far ahead of a frame's last row the log is replayed, so that the
// stabiliser has the readings around the frame when it renders it.
constexpr double kReplayMargin = 0.05;

struct Settings {
  gboolean stabilize = FALSE;
  std::string gyroSource = "none";  // none, iio, log
  std::string iioDevice;
  std::string gyroLog;
  std::string gyroOrientation;
  double gyroDelayMs = 0.0;
  double focalPx = 0.0;
  double readoutMs = -1.0;
  double cropping = 0.85;
  std::string style = "none";
  std::string lens = "none";
  int beauty = 0;
  gboolean denoise = FALSE;
  double zoom = 1.0;
};

// What start() made from the settings and the streaming thread uses.
struct Running {
  std::shared_ptr<OrvoRealTimeProcessor> processor;
  std::shared_ptr<GyroLog> log;
  std::shared_ptr<GyroLogSource> replay;
  std::shared_ptr<IioGyroSource> iio;
  std::shared_ptr<HostGyroSource> silent;  // denoise without a gyro: zero shifts
  bool gyroRunning = false;
  double readout = 0.0;
  double delay = 0.0;
  guint64 frames = 0;
  guint64 framesWithoutGyro = 0;
};

}  // namespace

struct _GstNudoraFilter {
  GstVideoFilter parent;
  GMutex lock;  // guards settings against property calls from other threads
  Settings* settings;
  Running* running;
};

G_DEFINE_TYPE(GstNudoraFilter, gst_nudora_filter, GST_TYPE_VIDEO_FILTER)

namespace {

enum {
  PROP_0,
  PROP_STABILIZE,
  PROP_GYRO_SOURCE,
  PROP_IIO_DEVICE,
  PROP_GYRO_LOG,
  PROP_GYRO_ORIENTATION,
  PROP_GYRO_DELAY_MS,
  PROP_FOCAL_PX,
  PROP_READOUT_MS,
  PROP_CROPPING,
  PROP_STYLE,
  PROP_LENS,
  PROP_BEAUTY,
  PROP_DENOISE,
  PROP_ZOOM,
};

const char* kCaps = GST_VIDEO_CAPS_MAKE("BGRA");

#define SETTINGS_ERROR(self, ...) GST_ELEMENT_ERROR(self, RESOURCE, SETTINGS, (__VA_ARGS__), (nullptr))

void setProperty(GObject* object, guint id, const GValue* value, GParamSpec* param) {
  auto* self = GST_NUDORA_FILTER(object);
  auto text = [&] { return std::string(g_value_get_string(value) ? g_value_get_string(value) : ""); };
  g_mutex_lock(&self->lock);
  Settings& s = *self->settings;
  switch (id) {
    case PROP_STABILIZE: s.stabilize = g_value_get_boolean(value); break;
    case PROP_GYRO_SOURCE: s.gyroSource = text(); break;
    case PROP_IIO_DEVICE: s.iioDevice = text(); break;
    case PROP_GYRO_LOG: s.gyroLog = text(); break;
    case PROP_GYRO_ORIENTATION: s.gyroOrientation = text(); break;
    case PROP_GYRO_DELAY_MS: s.gyroDelayMs = g_value_get_double(value); break;
    case PROP_FOCAL_PX: s.focalPx = g_value_get_double(value); break;
    case PROP_READOUT_MS: s.readoutMs = g_value_get_double(value); break;
    case PROP_CROPPING: s.cropping = g_value_get_double(value); break;
    case PROP_STYLE: s.style = text(); break;
    case PROP_LENS: s.lens = text(); break;
    case PROP_BEAUTY: s.beauty = g_value_get_int(value); break;
    case PROP_DENOISE: s.denoise = g_value_get_boolean(value); break;
    case PROP_ZOOM: s.zoom = g_value_get_double(value); break;
    default: G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, param); break;
  }
  g_mutex_unlock(&self->lock);
}

void getProperty(GObject* object, guint id, GValue* value, GParamSpec* param) {
  auto* self = GST_NUDORA_FILTER(object);
  g_mutex_lock(&self->lock);
  const Settings& s = *self->settings;
  switch (id) {
    case PROP_STABILIZE: g_value_set_boolean(value, s.stabilize); break;
    case PROP_GYRO_SOURCE: g_value_set_string(value, s.gyroSource.c_str()); break;
    case PROP_IIO_DEVICE: g_value_set_string(value, s.iioDevice.c_str()); break;
    case PROP_GYRO_LOG: g_value_set_string(value, s.gyroLog.c_str()); break;
    case PROP_GYRO_ORIENTATION: g_value_set_string(value, s.gyroOrientation.c_str()); break;
    case PROP_GYRO_DELAY_MS: g_value_set_double(value, s.gyroDelayMs); break;
    case PROP_FOCAL_PX: g_value_set_double(value, s.focalPx); break;
    case PROP_READOUT_MS: g_value_set_double(value, s.readoutMs); break;
    case PROP_CROPPING: g_value_set_double(value, s.cropping); break;
    case PROP_STYLE: g_value_set_string(value, s.style.c_str()); break;
    case PROP_LENS: g_value_set_string(value, s.lens.c_str()); break;
    case PROP_BEAUTY: g_value_set_int(value, s.beauty); break;
    case PROP_DENOISE: g_value_set_boolean(value, s.denoise); break;
    case PROP_ZOOM: g_value_set_double(value, s.zoom); break;
    default: G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, param); break;
  }
  g_mutex_unlock(&self->lock);
}

// A style or lens given by number or name; false after posting an error.
bool filterNumber(GstNudoraFilter* self, const char* property, const std::vector<FilterName>& names,
                  const std::string& text, int64_t* number) {
  if (auto found = filterNamed(names, text)) {
    *number = *found;
    return true;
  }
  std::string hint;
  for (const auto& near : filterNamesNear(names, text)) hint += (hint.empty() ? " (did you mean " : ", ") + near;
  if (!hint.empty()) hint += "?)";
  SETTINGS_ERROR(self, "%s '%s' is no number or name in the catalogue%s", property, text.c_str(), hint.c_str());
  return false;
}

// Checks the settings and makes the pipeline, the gyro source and the
// camera parameters that do not depend on the frame size.
gboolean start(GstBaseTransform* transform) {
  auto* self = GST_NUDORA_FILTER(transform);
  g_mutex_lock(&self->lock);
  const Settings s = *self->settings;
  g_mutex_unlock(&self->lock);

  int64_t style = 0, lens = 0;
  if (!filterNumber(self, "style", styleNames(), s.style, &style) ||
      !filterNumber(self, "lens", lensNames(), s.lens, &lens)) {
    return FALSE;
  }
  if (s.gyroSource != "none" && s.gyroSource != "iio" && s.gyroSource != "log") {
    SETTINGS_ERROR(self, "gyro-source '%s' must be none, iio or log", s.gyroSource.c_str());
    return FALSE;
  }
  if (s.stabilize && s.gyroSource == "none") {
    SETTINGS_ERROR(self, "stabilize=true needs gyro-source=iio or gyro-source=log");
    return FALSE;
  }
  GyroLog::Orientation orientation;
  if (!s.gyroOrientation.empty() && !GyroLog::Orientation::parse(s.gyroOrientation, &orientation)) {
    SETTINGS_ERROR(self, "gyro-orientation '%s' must be three letters naming x, y and z once each, a lowercase "
                   "letter negated (e.g. XYZ, YxZ)", s.gyroOrientation.c_str());
    return FALSE;
  }

  auto running = std::make_unique<Running>();
  auto estimator = OrvoCameraMotionEstimator::sharedInstance();
  running->readout = estimator->frameReadoutTime();
  running->delay = s.gyroDelayMs / 1000.0;
  if (s.gyroSource == "log") {
    if (s.gyroLog.empty()) {
      SETTINGS_ERROR(self, "gyro-source=log needs gyro-log=FILE");
      return FALSE;
    }
    std::string error;
    running->log = GyroLog::open(s.gyroLog, &error);
    if (!running->log) {
      SETTINGS_ERROR(self, "gyro-log: %s", error.c_str());
      return FALSE;
    }
    if (!s.gyroOrientation.empty()) running->log->setOrientation(s.gyroOrientation);
    if (auto it = running->log->header().find("frame_readout_time"); it != running->log->header().end()) {
      const double ms = std::atof(it->second.c_str());
      if (ms >= 0.0 && ms <= 1000.0) running->readout = ms / 1000.0;
    }
    running->replay = std::make_shared<GyroLogSource>(running->log);
    MotionManager::sharedInstance()->setSource(running->replay);
  } else if (s.gyroSource == "iio") {
    if (!s.iioDevice.empty()) setenv("NUDORA_IIO_DEVICE", s.iioDevice.c_str(), 1);
    running->iio = std::make_shared<IioGyroSource>();
    if (!running->iio->isAvailable()) {
      SETTINGS_ERROR(self, "gyro-source=iio: no IIO gyroscope%s%s", s.iioDevice.empty() ? "" : " at ",
                     s.iioDevice.c_str());
      return FALSE;
    }
    MotionManager::sharedInstance()->setSource(running->iio);
  } else if (s.denoise) {
    // The denoiser runs on a gyro; one that never delivers gives every frame
    // a zero shift and keeps this machine's own sensor out of the stream.
    running->silent = std::make_shared<HostGyroSource>();
    MotionManager::sharedInstance()->setSource(running->silent);
    GST_ELEMENT_WARNING(self, RESOURCE, SETTINGS,
                        ("denoise without a gyro: frames are blended without motion compensation"), (nullptr));
  }
  if (s.readoutMs >= 0.0) running->readout = s.readoutMs / 1000.0;

  running->processor = OrvoRealTimeProcessor::sharedInstance();
  if (!running->processor->setupWithAvailableAPI()) {
    GST_ELEMENT_ERROR(self, LIBRARY, INIT, ("no OpenGL ES context could be made (API 3 or 2)"), (nullptr));
    return FALSE;
  }
  OrvoRealTimeProcessor& p = *running->processor;
  p.setStyleFilter(style);
  p.setLensFilter(lens);
  p.setBeauty(s.beauty);
  p.setDigitalZoom(static_cast<float>(s.zoom));
  p.setDenoise(s.denoise);
  p.setStabilization(s.stabilize);
  if (p.videoStabilizer()) {
    p.videoStabilizer()->setCropping(static_cast<float>(s.cropping));
  } else if (s.stabilize) {
    GST_ELEMENT_WARNING(self, LIBRARY, SETTINGS, ("stabilisation needs OpenGL ES 3; frames pass unstabilised"),
                        (nullptr));
  }
  if (running->iio) running->gyroRunning = estimator->enable();

  g_mutex_lock(&self->lock);
  delete self->running;
  self->running = running.release();
  g_mutex_unlock(&self->lock);
  return TRUE;
}

gboolean stop(GstBaseTransform* transform) {
  auto* self = GST_NUDORA_FILTER(transform);
  g_mutex_lock(&self->lock);
  Running* running = self->running;
  self->running = nullptr;
  g_mutex_unlock(&self->lock);
  if (!running) return TRUE;
  if (running->gyroRunning) OrvoCameraMotionEstimator::sharedInstance()->disable();
  if (running->replay || running->iio || running->silent) MotionManager::sharedInstance()->setSource(nullptr);
  if (running->replay) Clock::stopVirtual();
  if (running->log && running->frames > 0 && running->framesWithoutGyro == running->frames) {
    GST_ELEMENT_WARNING(self, STREAM, FAILED, ("no frame had gyro data from '%s'", self->settings->gyroLog.c_str()),
                        (nullptr));
  }
  delete running;
  return TRUE;
}

// The frame size is known: the camera's focal length and readout.
gboolean setInfo(GstVideoFilter* filter, GstCaps*, GstVideoInfo* in, GstCaps*, GstVideoInfo* out) {
  auto* self = GST_NUDORA_FILTER(filter);
  if (GST_VIDEO_INFO_WIDTH(in) != GST_VIDEO_INFO_WIDTH(out) || GST_VIDEO_INFO_HEIGHT(in) != GST_VIDEO_INFO_HEIGHT(out)) {
    GST_ELEMENT_ERROR(self, CORE, NEGOTIATION, ("nudorafilter keeps the frame size"), (nullptr));
    return FALSE;
  }
  g_mutex_lock(&self->lock);
  const double focalPx = self->settings->focalPx;
  Running* running = self->running;
  g_mutex_unlock(&self->lock);
  if (!running) return FALSE;
  auto estimator = OrvoCameraMotionEstimator::sharedInstance();
  std::optional<OrvoCameraParameters> camera;
  const float width = static_cast<float>(GST_VIDEO_INFO_WIDTH(in)), height = static_cast<float>(GST_VIDEO_INFO_HEIGHT(in));
  if (focalPx > 0.0) {
    camera = OrvoCameraParameters::fromFocalLengthInPixels(static_cast<float>(focalPx), width, height,
                                                           static_cast<float>(running->readout), running->delay);
  } else {
    camera = OrvoCameraParameters{estimator->focalLength(),      estimator->sensorWidth(),
                                  estimator->sensorHeight(),     estimator->sensorCropWidth(),
                                  estimator->sensorCropHeight(), static_cast<float>(running->readout),
                                  running->delay};
  }
  if (const std::string problem = camera->problem(); !problem.empty()) {
    SETTINGS_ERROR(self, "unusable camera parameters: %s", problem.c_str());
    return FALSE;
  }
  if (!estimator->setCameraParameters(camera)) {
    SETTINGS_ERROR(self, "the camera parameters were refused");
    return FALSE;
  }
  return TRUE;
}

GstFlowReturn transformFrame(GstVideoFilter* filter, GstVideoFrame* in, GstVideoFrame* out) {
  auto* self = GST_NUDORA_FILTER(filter);
  Running* running = self->running;  // set before and cleared after streaming
  if (!running) return GST_FLOW_NOT_NEGOTIATED;
  const int width = GST_VIDEO_FRAME_WIDTH(in), height = GST_VIDEO_FRAME_HEIGHT(in);
  auto input = PixelBuffer::wrap(GST_VIDEO_FRAME_PLANE_DATA(in, 0), width, height,
                                 static_cast<size_t>(GST_VIDEO_FRAME_PLANE_STRIDE(in, 0)));
  auto output = PixelBuffer::wrap(GST_VIDEO_FRAME_PLANE_DATA(out, 0), width, height,
                                  static_cast<size_t>(GST_VIDEO_FRAME_PLANE_STRIDE(out, 0)));
  if (!input || !output) return GST_FLOW_ERROR;

  // The frame's time on the clock its gyro readings carry.
  GstBaseTransform* transform = GST_BASE_TRANSFORM(filter);
  const GstClockTime pts = GST_BUFFER_PTS(in->buffer);
  double seconds = running->frames / 30.0;
  if (GST_CLOCK_TIME_IS_VALID(pts)) {
    if (running->iio) {
      const GstClockTime runningTime = gst_segment_to_running_time(&transform->segment, GST_FORMAT_TIME, pts);
      seconds = (gst_element_get_base_time(GST_ELEMENT(filter)) + runningTime) / double(GST_SECOND);
    } else {
      seconds = gst_segment_to_stream_time(&transform->segment, GST_FORMAT_TIME, pts) / double(GST_SECOND);
    }
  }
  auto estimator = OrvoCameraMotionEstimator::sharedInstance();
  if (running->replay) {
    if (!running->gyroRunning) {
      // The replay starts just before the first frame's readout, as a live
      // gyro is started with the camera.
      Clock::startVirtual(std::max(running->log->startTime(), seconds + std::min(0.0, running->delay) - kReplayMargin));
      running->gyroRunning = estimator->enable();
      if (!running->gyroRunning) {
        GST_ELEMENT_ERROR(self, STREAM, FAILED, ("the gyro log could not be replayed"), (nullptr));
        return GST_FLOW_ERROR;
      }
    }
    running->replay->advanceTo(seconds + running->delay + running->readout + kReplayMargin);
  }
  running->processor->effectPixelBuffer(SampleBuffer::create(input, seconds), output, nullptr, false, false,
                                        OrvoBaseProcessor::kOrientationUpright, 0.0, 0.0);
  if ((running->replay || running->iio) && !estimator->hasValidGyroData()) ++running->framesWithoutGyro;
  ++running->frames;
  return GST_FLOW_OK;
}

void finalize(GObject* object) {
  auto* self = GST_NUDORA_FILTER(object);
  delete self->running;
  delete self->settings;
  g_mutex_clear(&self->lock);
  G_OBJECT_CLASS(gst_nudora_filter_parent_class)->finalize(object);
}

void installString(GObjectClass* klass, guint id, const char* name, const char* blurb, const char* initial) {
  g_object_class_install_property(
      klass, id,
      g_param_spec_string(name, name, blurb, initial,
                          GParamFlags(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_READY)));
}

void installDouble(GObjectClass* klass, guint id, const char* name, const char* blurb, double lo, double hi,
                   double initial) {
  g_object_class_install_property(
      klass, id,
      g_param_spec_double(name, name, blurb, lo, hi, initial,
                          GParamFlags(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_READY)));
}

void installBoolean(GObjectClass* klass, guint id, const char* name, const char* blurb) {
  g_object_class_install_property(
      klass, id,
      g_param_spec_boolean(name, name, blurb, FALSE,
                           GParamFlags(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_READY)));
}

}  // namespace

static void gst_nudora_filter_class_init(GstNudoraFilterClass* klass) {
  auto* objectClass = G_OBJECT_CLASS(klass);
  auto* elementClass = GST_ELEMENT_CLASS(klass);
  objectClass->set_property = setProperty;
  objectClass->get_property = getProperty;
  objectClass->finalize = finalize;

  installBoolean(objectClass, PROP_STABILIZE, "stabilize", "Stabilise the video from the gyro (needs gyro-source)");
  installString(objectClass, PROP_GYRO_SOURCE, "gyro-source",
                "Where gyro readings come from: none, iio (the Linux IIO gyroscope) or log (gyro-log)", "none");
  installString(objectClass, PROP_IIO_DEVICE, "iio-device",
                "IIO device for gyro-source=iio, as iio:deviceN or a sysfs path (empty: the first gyroscope)", "");
  installString(objectClass, PROP_GYRO_LOG, "gyro-log",
                "Gyro log for gyro-source=log: Gyroflow .gcsv or CSV t,gx,gy,gz (seconds, rad/s)", "");
  installString(objectClass, PROP_GYRO_ORIENTATION, "gyro-orientation",
                "How the log's axes map to the camera's: three letters, e.g. XYZ, YxZ (lowercase negated; empty: "
                "the log's own)", "");
  installDouble(objectClass, PROP_GYRO_DELAY_MS, "gyro-delay-ms",
                "Gyro clock minus video clock, milliseconds (what nudora sync prints)", -10000.0, 10000.0, 0.0);
  installDouble(objectClass, PROP_FOCAL_PX, "focal-px",
                "Focal length in pixels at the frame's width (0: the built-in camera table)", 0.0, 1e6, 0.0);
  installDouble(objectClass, PROP_READOUT_MS, "readout-ms",
                "Rolling-shutter readout, first to last row, milliseconds (-1: the log's header or the built-in "
                "table)", -1.0, 1000.0, -1.0);
  installDouble(objectClass, PROP_CROPPING, "cropping",
                "Share of the frame kept by the stabiliser (1: no margin for correction)", 0.5, 1.0, 0.85);
  installString(objectClass, PROP_STYLE, "style", "Colour style by number or name (none or 0: no style)", "none");
  installString(objectClass, PROP_LENS, "lens", "Lens effect by number or name (none or 0: no lens)", "none");
  g_object_class_install_property(
      objectClass, PROP_BEAUTY,
      g_param_spec_int("beauty", "beauty", "Beautify level, 0 (off) to 4", 0, 4, 0,
                       GParamFlags(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_READY)));
  installBoolean(objectClass, PROP_DENOISE, "denoise", "Temporal denoising (OpenGL ES 3)");
  installDouble(objectClass, PROP_ZOOM, "zoom", "Digital zoom factor (1: none)", 1.0, 8.0, 1.0);

  gst_element_class_set_static_metadata(elementClass, "Nudora filter", "Filter/Effect/Video",
                                        "Gyro video stabilisation with rolling-shutter correction, colour styles and "
                                        "lens effects on OpenGL ES",
                                        "Nudora");
  GstCaps* caps = gst_caps_from_string(kCaps);
  gst_element_class_add_pad_template(elementClass, gst_pad_template_new("sink", GST_PAD_SINK, GST_PAD_ALWAYS, caps));
  gst_element_class_add_pad_template(elementClass, gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, caps));
  gst_caps_unref(caps);

  auto* transformClass = GST_BASE_TRANSFORM_CLASS(klass);
  transformClass->start = start;
  transformClass->stop = stop;
  transformClass->passthrough_on_same_caps = FALSE;
  auto* videoClass = GST_VIDEO_FILTER_CLASS(klass);
  videoClass->set_info = setInfo;
  videoClass->transform_frame = transformFrame;
}

static void gst_nudora_filter_init(GstNudoraFilter* self) {
  g_mutex_init(&self->lock);
  self->settings = new Settings();
  self->running = nullptr;
}

static gboolean pluginInit(GstPlugin* plugin) {
  GST_DEBUG_CATEGORY_INIT(nudora_filter_debug, "nudorafilter", 0, "Nudora filter");
  return gst_element_register(plugin, "nudorafilter", GST_RANK_NONE, GST_TYPE_NUDORA_FILTER);
}

#define PACKAGE "nudora"
GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, nudora, "Nudora camera video processing", pluginInit,
                  NUDORA_VERSION_STRING, "Proprietary", "nudora", "nudora")
