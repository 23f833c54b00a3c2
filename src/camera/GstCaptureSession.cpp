#include "camera/GstCaptureSession.h"

#include "camera/FrameAnalyzer.h"

#include <QBuffer>
#include <QElapsedTimer>
#include <QImageWriter>
#include <QLoggingCategory>
#include <QTimer>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>

#include <gst/app/gstappsink.h>
#include <gst/gst.h>
#include <gst/video/video.h>

Q_LOGGING_CATEGORY(lcCapture, "tarnwick.camera", QtWarningMsg)

namespace {

// Frames come out this wide, as NV12: enough for a face, cheap to analyse
// and to show in a drawer a few hundred pixels wide.
constexpr int frameWidth = 640;

QString property(GstDevice *device, const char *key)
{
    GstStructure *props = gst_device_get_properties(device);
    if (props == nullptr)
        return {};
    const gchar *value = gst_structure_get_string(props, key);
    QString text = value ? QString::fromUtf8(value) : QString();
    gst_structure_free(props);
    return text;
}

// A name that tells devices apart for as long as they stay plugged in:
// the V4L2 node, or PipeWire's serial (never reused within a session).
QString deviceId(GstDevice *device)
{
    const QString path = property(device, "device.path");
    if (!path.isEmpty())
        return path;
    const QString serial = property(device, "object.serial");
    if (!serial.isEmpty())
        return QStringLiteral("pipewire:") + serial;
    gchar *name = gst_device_get_display_name(device);
    const QString display = QString::fromUtf8(name);
    g_free(name);
    return display;
}

// Whether the camera only sends JPEG pictures, as some USB cameras do:
// those go through a decoder. Any camera that sends raw frames as well is
// read raw, which costs nothing to unpack.
bool sendsOnlyJpeg(GstDevice *device)
{
    GstCaps *caps = gst_device_get_caps(device);
    if (caps == nullptr)
        return false;
    bool raw = false;
    bool jpeg = false;
    for (guint i = 0; i < gst_caps_get_size(caps); ++i) {
        const gchar *type = gst_structure_get_name(gst_caps_get_structure(caps, i));
        raw = raw || g_str_equal(type, "video/x-raw");
        jpeg = jpeg || g_str_equal(type, "image/jpeg");
    }
    gst_caps_unref(caps);
    return jpeg && !raw;
}

QString displayName(GstDevice *device)
{
    gchar *name = gst_device_get_display_name(device);
    const QString display = QString::fromUtf8(name);
    g_free(name);
    return display;
}

QByteArray jpeg(const QImage &image)
{
    QByteArray data;
    QBuffer buffer(&data);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "jpeg");
    writer.setQuality(92);
    if (image.isNull() || !writer.write(image))
        return {};
    return data;
}

// A copy of an NV12 sample in memory Qt owns: the source's buffers go back
// to it at once, so a camera that renegotiates never pulls memory from
// under a frame still on screen.
QVideoFrame copyFrame(GstSample *sample)
{
    GstVideoInfo info;
    if (!gst_video_info_from_caps(&info, gst_sample_get_caps(sample)))
        return {};
    GstVideoFrame source;
    if (!gst_video_frame_map(&source, &info, gst_sample_get_buffer(sample), GST_MAP_READ))
        return {};
    const int width = GST_VIDEO_INFO_WIDTH(&info);
    const int height = GST_VIDEO_INFO_HEIGHT(&info);
    QVideoFrameFormat format(QSize(width, height), QVideoFrameFormat::Format_NV12);
    format.setColorRange(GST_VIDEO_INFO_COLORIMETRY(&info).range == GST_VIDEO_COLOR_RANGE_0_255
                             ? QVideoFrameFormat::ColorRange_Full
                             : QVideoFrameFormat::ColorRange_Video);
    QVideoFrame frame(format);
    if (frame.map(QVideoFrame::WriteOnly)) {
        for (int plane = 0; plane < 2; ++plane) {
            const auto *from = static_cast<const uchar *>(GST_VIDEO_FRAME_PLANE_DATA(&source, plane));
            const int fromStride = GST_VIDEO_FRAME_PLANE_STRIDE(&source, plane);
            uchar *to = frame.bits(plane);
            const int toStride = frame.bytesPerLine(plane);
            const int rows = plane == 0 ? height : (height + 1) / 2;
            const int bytes = std::min(fromStride, toStride);
            for (int row = 0; row < rows; ++row)
                std::memcpy(to + qsizetype(row) * toStride, from + qsizetype(row) * fromStride, size_t(bytes));
        }
        frame.unmap();
    } else {
        frame = QVideoFrame();
    }
    gst_video_frame_unmap(&source);
    return frame;
}

} // namespace

// What the streaming threads share with the session. `generation` names
// the device now wanted; whatever a pipeline of an older one still delivers
// is dropped.
struct GstCaptureSession::Shared
{
    explicit Shared(Clock &clock)
        : analyzer(clock)
    {
        analyzer.setOnCheck([this](const FrameCheck &check) {
            std::function<void(const FrameCheck &)> handler;
            {
                std::lock_guard guard(checkLock);
                handler = onCheck;
            }
            if (handler)
                handler(check);
        });
    }

    std::mutex checkLock;
    std::function<void(const FrameCheck &)> onCheck; // under `checkLock`

    std::mutex lock;
    int generation = 0;
    GstCaptureSession *session = nullptr; // null once the session is gone
    QAtomicInt frames; // since the device last started

    // The analysis has a thread of its own, so that neither the main thread
    // nor the camera's waits for a face search: it looks at the newest frame
    // whenever it is free.
    std::mutex analysisLock;
    std::condition_variable analysisWake;
    QVideoFrame toAnalyse; // under `analysisLock`
    bool quitting = false; // under `analysisLock`
    FrameAnalyzer analyzer; // on the analysis thread only
    std::thread analysis;

    void analyse(const QVideoFrame &frame)
    {
        std::lock_guard guard(analysisLock);
        toAnalyse = frame;
        analysisWake.notify_one();
    }

    void runAnalysis()
    {
        std::unique_lock guard(analysisLock);
        while (true) {
            analysisWake.wait(guard, [this] { return quitting || toAnalyse.isValid(); });
            if (quitting)
                return;
            const QVideoFrame frame = std::exchange(toAnalyse, QVideoFrame());
            guard.unlock();
            analyzer.frameArrived(frame);
            guard.lock();
        }
    }
    QPointer<QVideoSink> preview; // read under `lock`, used on the main thread
    QAtomicInt previewPending;
    QVideoFrame lastFrame;
};

// One opened device. Its state changes happen on a thread of its own, which
// keeps the pipeline, and with it the device, until it has been set to NULL.
struct GstCaptureSession::Pipeline
{
    std::shared_ptr<Shared> shared;
    int generation = 0;
    GstElement *pipeline = nullptr;
    std::mutex lock;
    std::condition_variable wake;
    bool stopRequested = false;
    std::atomic<bool> released{false};
    bool delivered = false; // on the streaming thread only

    // Runs a queued call on the session, if this pipeline is still the one
    // it wants. Called from any thread.
    template<typename F>
    void toSession(F &&call)
    {
        std::lock_guard guard(shared->lock);
        if (shared->session == nullptr || shared->generation != generation)
            return;
        QMetaObject::invokeMethod(shared->session, std::forward<F>(call), Qt::QueuedConnection);
    }

    void run()
    {
        if (gst_element_set_state(pipeline, GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE)
            qCDebug(lcCapture) << "the camera did not start";
        {
            std::unique_lock guard(lock);
            wake.wait(guard, [this] { return stopRequested; });
        }
        // NULL, not PAUSED: only then does the source close its device.
        gst_element_set_state(pipeline, GST_STATE_NULL);
        gst_object_unref(pipeline);
        pipeline = nullptr;
        released = true;
    }

    void requestStop()
    {
        std::lock_guard guard(lock);
        stopRequested = true;
        wake.notify_all();
    }

    static GstFlowReturn newSample(GstAppSink *sink, gpointer data)
    {
        auto *self = static_cast<Pipeline *>(data);
        GstSample *sample = gst_app_sink_pull_sample(sink);
        if (sample == nullptr)
            return GST_FLOW_EOS;
        const QVideoFrame frame = copyFrame(sample);
        gst_sample_unref(sample);
        if (frame.isValid())
            self->deliver(frame);
        return GST_FLOW_OK;
    }

    void deliver(const QVideoFrame &frame)
    {
        QPointer<QVideoSink> preview;
        {
            std::lock_guard guard(shared->lock);
            if (shared->session == nullptr || shared->generation != generation)
                return;
            shared->lastFrame = frame;
            preview = shared->preview;
            shared->frames.fetchAndAddRelaxed(1);
            if (!std::exchange(delivered, true)) {
                GstCaptureSession *session = shared->session;
                QMetaObject::invokeMethod(session, [session, gen = generation] {
                    if (session->m_shared->generation == gen)
                        session->answer(StartResult::Running, session->m_pendingName);
                }, Qt::QueuedConnection);
            }
        }
        // The newest picture or none: a preview that has not drawn the last
        // one yet skips this one.
        if (preview && shared->previewPending.testAndSetRelaxed(0, 1)) {
            QMetaObject::invokeMethod(preview, [preview, frame, shared = shared] {
                shared->previewPending.storeRelaxed(0);
                if (preview)
                    preview->setVideoFrame(frame);
            }, Qt::QueuedConnection);
        }
        shared->analyse(frame);
    }

    static GstBusSyncReply busMessage(GstBus *, GstMessage *message, gpointer data)
    {
        auto *self = static_cast<Pipeline *>(data);
        if (GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR) {
            GError *error = nullptr;
            gchar *debug = nullptr;
            gst_message_parse_error(message, &error, &debug);
            const QString text = QString::fromUtf8(error->message) + QLatin1Char(' ') + QString::fromUtf8(debug);
            // A device node the user may not open is a refusal, not an
            // absence: the drawer says so differently.
            const bool refused = g_error_matches(error, GST_RESOURCE_ERROR, GST_RESOURCE_ERROR_NOT_AUTHORIZED)
                || text.contains(QLatin1String("ermission denied"));
            qCWarning(lcCapture) << "camera failed:" << text;
            g_error_free(error);
            g_free(debug);
            const int gen = self->generation;
            self->toSession([session = self->shared->session, refused, gen] {
                if (session->m_shared->generation != gen)
                    return;
                session->fail(refused ? StartResult::Denied : StartResult::NoCamera);
            });
        }
        return GST_BUS_PASS;
    }
};

std::unique_ptr<CaptureSession> CaptureSession::createSystem(Clock &clock)
{
    return std::make_unique<GstCaptureSession>(clock);
}

GstCaptureSession::GstCaptureSession(Clock &clock, QObject *parent)
    : QObject(parent)
    , m_shared(std::make_shared<Shared>(clock))
{
    m_shared->session = this;
}

GstCaptureSession::~GstCaptureSession()
{
    stop();
    {
        std::lock_guard guard(m_shared->lock);
        m_shared->session = nullptr;
    }
    if (m_shared->analysis.joinable()) {
        {
            std::lock_guard guard(m_shared->analysisLock);
            m_shared->quitting = true;
            m_shared->analysisWake.notify_one();
        }
        m_shared->analysis.join();
    }
    // Devices still closing get a moment to finish before the process goes
    // on to quit (GStreamer must not be busy on a thread while it exits); a
    // device stuck opening is left to its thread.
    QElapsedTimer waited;
    waited.start();
    for (const std::weak_ptr<Pipeline> &closing : std::as_const(m_closing)) {
        while (waited.elapsed() < 3000) {
            const std::shared_ptr<Pipeline> pipeline = closing.lock();
            if (!pipeline || pipeline->released)
                break;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }
    // The device list is left running: stopping PipeWire's device provider
    // (0.3.65) frees twice, and asking it afresh instead can wait forever
    // for a server that is busy adding a node. The process is on its way
    // out when this runs.
}

void GstCaptureSession::setUp() const
{
    if (m_monitor != nullptr)
        return;
    GError *error = nullptr;
    if (!gst_init_check(nullptr, nullptr, &error)) {
        qCWarning(lcCapture) << "GStreamer did not start:" << (error ? error->message : "");
        g_clear_error(&error);
    }
    qCDebug(lcCapture) << "setting up the cameras";
    // Started once and kept: it follows cameras coming and going, and a
    // listing then reads what it already knows instead of asking every
    // provider again (which can block).
    m_monitor = gst_device_monitor_new();
    gst_device_monitor_add_filter(m_monitor, "Video/Source", nullptr);
    if (!gst_device_monitor_start(m_monitor))
        qCWarning(lcCapture) << "cameras cannot be listed";
    m_shared->analysis = std::thread([shared = m_shared.get()] { shared->runAnalysis(); });
}

QList<CameraDevice> GstCaptureSession::availableCameras() const
{
    setUp();
    QList<CameraDevice> cameras;
    GList *devices = gst_device_monitor_get_devices(m_monitor);
    for (GList *item = devices; item != nullptr; item = item->next) {
        auto *device = GST_DEVICE(item->data);
        cameras.append({deviceId(device), displayName(device)});
    }
    g_list_free_full(devices, gst_object_unref);
    return cameras;
}

void GstCaptureSession::start(const QString &cameraId, Started done)
{
    setUp();
    GstDevice *chosen = nullptr;
    GList *devices = gst_device_monitor_get_devices(m_monitor);
    for (GList *item = devices; item != nullptr; item = item->next) {
        auto *device = GST_DEVICE(item->data);
        // An unplugged choice falls back to the camera the system offers first.
        if (chosen == nullptr || deviceId(device) == cameraId)
            chosen = device;
        if (deviceId(device) == cameraId)
            break;
    }
    const QString id = chosen ? deviceId(chosen) : QString();
    const QString name = chosen ? displayName(chosen) : QString();
    const bool jpeg = chosen && sendsOnlyJpeg(chosen);
    GstElement *source = chosen ? gst_device_create_element(chosen, "camera") : nullptr;
    g_list_free_full(devices, gst_object_unref);

    if (m_pipeline && id == m_currentId) {
        // Already open or opening: the one answer serves the latest caller.
        if (m_pendingStart)
            m_pendingStart = std::move(done);
        else
            QTimer::singleShot(0, this, [done, name] { done(StartResult::Running, name); });
        gst_object_unref(gst_object_ref_sink(source));
        return;
    }
    stop();
    if (source == nullptr) {
        QTimer::singleShot(0, this, [done] { done(StartResult::NoCamera, QString()); });
        return;
    }


    auto pipeline = std::make_shared<Pipeline>();
    pipeline->shared = m_shared;
    pipeline->pipeline = gst_pipeline_new("tarnwick-camera");
    // The device's own 640×480 first, when it has one: scaling costs more
    // than the rest of the pipeline together.
    GstElement *preferred = gst_element_factory_make("capsfilter", nullptr);
    GstCaps *preferredCaps = gst_caps_from_string(
        jpeg ? "image/jpeg,width=640,height=480,framerate=30/1; image/jpeg,width=640,height=480; image/jpeg"
             : "video/x-raw,width=640,height=480,framerate=30/1; video/x-raw,width=640,height=480; video/x-raw");
    g_object_set(preferred, "caps", preferredCaps, nullptr);
    gst_caps_unref(preferredCaps);
    // jpegdec comes with the same plugins as the V4L2 source.
    GstElement *decode = jpeg ? gst_element_factory_make("jpegdec", nullptr) : nullptr;
    GstElement *convert = gst_element_factory_make("videoconvert", nullptr);
    GstElement *scale = gst_element_factory_make("videoscale", nullptr);
    GstElement *format = gst_element_factory_make("capsfilter", nullptr);
    GstCaps *formatCaps = gst_caps_new_simple("video/x-raw", "format", G_TYPE_STRING, "NV12", "width", G_TYPE_INT,
                                              frameWidth, "pixel-aspect-ratio", GST_TYPE_FRACTION, 1, 1, nullptr);
    g_object_set(format, "caps", formatCaps, nullptr);
    gst_caps_unref(formatCaps);
    GstElement *sink = gst_element_factory_make("appsink", nullptr);
    if ((jpeg && decode == nullptr) || convert == nullptr || scale == nullptr || sink == nullptr) {
        qCWarning(lcCapture) << "GStreamer's plugins are missing (gstreamer1.0-plugins-base and -good)";
        for (GstElement *element : {preferred, decode, convert, scale, format, sink, source})
            if (element)
                gst_object_unref(gst_object_ref_sink(element));
        gst_object_unref(pipeline->pipeline);
        QTimer::singleShot(0, this, [done] { done(StartResult::NoCamera, QString()); });
        return;
    }
    // The newest frame or none, as fast as it comes: a mirror has no use
    // for a late one.
    g_object_set(sink, "max-buffers", 1u, "drop", TRUE, "sync", FALSE, nullptr);
    gst_bin_add_many(GST_BIN(pipeline->pipeline), source, preferred, convert, scale, format, sink, nullptr);
    bool linked = gst_element_link(source, preferred);
    GstElement *raw = preferred;
    if (decode) {
        gst_bin_add(GST_BIN(pipeline->pipeline), decode);
        linked = linked && gst_element_link(preferred, decode);
        raw = decode;
    }
    linked = linked && gst_element_link_many(raw, convert, scale, format, sink, nullptr);
    if (!linked)
        qCWarning(lcCapture) << "the camera's pipeline did not link";
    GstAppSinkCallbacks callbacks{};
    callbacks.new_sample = &Pipeline::newSample;
    gst_app_sink_set_callbacks(GST_APP_SINK(sink), &callbacks, pipeline.get(), nullptr);
    GstBus *bus = gst_pipeline_get_bus(GST_PIPELINE(pipeline->pipeline));
    gst_bus_set_sync_handler(bus, &Pipeline::busMessage, pipeline.get(), nullptr);
    gst_object_unref(bus);

    {
        std::lock_guard guard(m_shared->lock);
        pipeline->generation = ++m_shared->generation;
    }
    m_shared->frames.storeRelaxed(0);
    m_pipeline = pipeline;
    m_currentId = id;
    m_pendingStart = std::move(done);
    m_pendingName = name;
    std::thread([pipeline] { pipeline->run(); }).detach();
    m_closing.removeIf([](const std::weak_ptr<Pipeline> &p) { return p.expired(); });
    m_closing.append(pipeline);

    // A device that never delivers (a PipeWire node nobody links, a camera
    // held by another program) is as good as none.
    const int generation = pipeline->generation;
    QTimer::singleShot(firstFrameTimeoutMs, this, [this, generation] {
        if (m_shared->generation != generation || !m_pendingStart)
            return;
        qCWarning(lcCapture) << "the camera sent nothing; closing it";
        fail(StartResult::NoCamera);
    });
}

int GstCaptureSession::framesSinceStart() const
{
    return m_shared->frames.loadRelaxed();
}

void GstCaptureSession::fail(StartResult result)
{
    // The device is closed even when it failed after it had started (a
    // camera unplugged while in use); only a start still waiting hears of it.
    Started done = std::exchange(m_pendingStart, nullptr);
    stop();
    if (done)
        done(result, QString());
}

void GstCaptureSession::answer(StartResult result, const QString &name)
{
    if (Started done = std::exchange(m_pendingStart, nullptr))
        done(result, name);
}

void GstCaptureSession::stop()
{
    if (!m_pipeline)
        return;
    qCDebug(lcCapture) << "closing the camera";
    {
        std::lock_guard guard(m_shared->lock);
        ++m_shared->generation;
        m_shared->lastFrame = QVideoFrame();
    }
    std::exchange(m_pipeline, nullptr)->requestStop();
    m_currentId.clear();
    // A start still waiting is withdrawn: whoever stopped the camera no
    // longer wants its answer.
    m_pendingStart = nullptr;
}

QString GstCaptureSession::currentCameraId() const
{
    return m_currentId;
}

void GstCaptureSession::capturePhoto(PhotoTaken done)
{
    QVideoFrame frame;
    {
        std::lock_guard guard(m_shared->lock);
        frame = m_shared->lastFrame;
    }
    // The picture on screen is the photo: a still from a webcam is that
    // same frame, without the wait for a second pipeline.
    QTimer::singleShot(0, this, [done, frame]() mutable { done(frame.isValid() ? jpeg(frame.toImage()) : QByteArray()); });
}

void GstCaptureSession::setOnCheck(std::function<void(const FrameCheck &)> onCheck)
{
    std::lock_guard guard(m_shared->checkLock);
    m_shared->onCheck = std::move(onCheck);
}

void GstCaptureSession::setPreviewSink(QVideoSink *sink)
{
    std::lock_guard guard(m_shared->lock);
    m_shared->preview = sink;
}

// Compiled here rather than with every other class, as only this file is
// built against Qt Multimedia and GStreamer.
#include "moc_GstCaptureSession.cpp"
