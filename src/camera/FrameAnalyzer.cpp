#include "camera/FrameAnalyzer.h"

#include "core/Clock.h"

#include <QImage>
#include <QRect>
#include <QLoggingCategory>
#include <cmath>

Q_LOGGING_CATEGORY(lcAnalysis, "tarnwick.camera.analysis", QtWarningMsg)

namespace {

// The brightness of one pixel, read straight from a mapped frame without
// converting it. Luma planes (NV12 and the planar YUV layouts) are read as
// they are; packed YUV picks its Y bytes; 32-bit RGB is weighted the way
// BT.601 weighs it, in integers.
struct LumaPlane
{
    enum class Kind { Luma, Rgb32 };

    const uchar *base = nullptr;
    int width = 0;
    int height = 0;
    int stride = 0;
    int step = 1; // bytes from one pixel to the next
    int offset = 0; // byte of the pixel's Y (or its first colour byte)
    Kind kind = Kind::Luma;
    int r = 0, g = 1, b = 2; // byte order of a 32-bit pixel

    int at(int row, int column) const
    {
        const uchar *p = base + qsizetype(row) * stride + qsizetype(column) * step + offset;
        if (kind == Kind::Luma)
            return *p;
        return (77 * p[r] + 150 * p[g] + 29 * p[b]) >> 8;
    }
};

// Describes the luma of a mapped frame, or nothing for a layout we do not
// read in place (the caller converts those).
std::optional<LumaPlane> lumaPlane(const QVideoFrame &frame)
{
    LumaPlane plane;
    plane.base = frame.bits(0);
    plane.width = frame.width();
    plane.height = frame.height();
    plane.stride = frame.bytesPerLine(0);
    if (plane.base == nullptr || plane.width <= 0 || plane.height <= 0)
        return std::nullopt;

    using F = QVideoFrameFormat::PixelFormat;
    switch (frame.pixelFormat()) {
    case F::Format_NV12:
    case F::Format_NV21:
    case F::Format_YUV420P:
    case F::Format_YUV422P:
    case F::Format_YV12:
    case F::Format_IMC1:
    case F::Format_IMC2:
    case F::Format_IMC3:
    case F::Format_IMC4:
    case F::Format_Y8:
        return plane;
    case F::Format_YUYV:
        plane.step = 2;
        return plane;
    case F::Format_UYVY:
        plane.step = 2;
        plane.offset = 1;
        return plane;
    case F::Format_AYUV:
    case F::Format_AYUV_Premultiplied:
        plane.step = 4;
        plane.offset = 1;
        return plane;
    // Byte order in memory, on a little-endian machine for the 32-bit words.
    case F::Format_ARGB8888:
    case F::Format_ARGB8888_Premultiplied:
    case F::Format_XRGB8888:
        plane.kind = LumaPlane::Kind::Rgb32;
        plane.step = 4;
        plane.r = 1, plane.g = 2, plane.b = 3;
        return plane;
    case F::Format_BGRA8888:
    case F::Format_BGRA8888_Premultiplied:
    case F::Format_BGRX8888:
        plane.kind = LumaPlane::Kind::Rgb32;
        plane.step = 4;
        plane.r = 2, plane.g = 1, plane.b = 0;
        return plane;
    case F::Format_ABGR8888:
    case F::Format_XBGR8888:
        plane.kind = LumaPlane::Kind::Rgb32;
        plane.step = 4;
        plane.r = 3, plane.g = 2, plane.b = 1;
        return plane;
    case F::Format_RGBA8888:
    case F::Format_RGBX8888:
        plane.kind = LumaPlane::Kind::Rgb32;
        plane.step = 4;
        plane.r = 0, plane.g = 1, plane.b = 2;
        return plane;
    default:
        return std::nullopt;
    }
}

std::optional<double> averageLuma(const std::optional<QRectF> &region, const LumaPlane &plane)
{
    const QRectF r = region.value_or(QRectF(0, 0, 1, 1));
    const int w = plane.width;
    const int h = plane.height;
    // The region's origin is at the bottom left; rows run top down.
    const int firstColumn = std::clamp(int(r.left() * w), 0, w);
    const int endColumn = std::clamp(int(std::ceil(r.right() * w)), 0, w);
    const int firstRow = std::clamp(int((1.0 - r.bottom()) * h), 0, h);
    const int endRow = std::clamp(int(std::ceil((1.0 - r.top()) * h)), 0, h);
    if (firstColumn >= endColumn || firstRow >= endRow)
        return std::nullopt;

    // One pixel in 36 is plenty for an average and keeps this far below a
    // millisecond even on a large frame.
    quint64 sum = 0;
    quint64 count = 0;
    for (int row = firstRow; row < endRow; row += 6) {
        for (int column = firstColumn; column < endColumn; column += 6) {
            sum += quint64(plane.at(row, column));
            ++count;
        }
    }
    if (count == 0)
        return std::nullopt;
    return double(sum) / double(count) / 255.0;
}

// A frame in a layout we cannot read in place, as 8-bit grey. Only reached
// twice a second, for the rare camera that offers nothing else.
QImage greyImage(const QVideoFrame &frame)
{
    return frame.toImage().convertToFormat(QImage::Format_Grayscale8);
}

LumaPlane planeOf(const QImage &grey)
{
    LumaPlane plane;
    plane.base = grey.constBits();
    plane.width = grey.width();
    plane.height = grey.height();
    plane.stride = int(grey.bytesPerLine());
    return plane;
}

// Holds a frame mapped for reading for as long as it is looked at.
class MappedFrame
{
public:
    explicit MappedFrame(const QVideoFrame &frame)
        : m_frame(frame)
    {
        m_mapped = m_frame.map(QVideoFrame::ReadOnly);
    }
    ~MappedFrame()
    {
        if (m_mapped)
            m_frame.unmap();
    }
    MappedFrame(const MappedFrame &) = delete;
    MappedFrame &operator=(const MappedFrame &) = delete;

    bool isMapped() const { return m_mapped; }
    const QVideoFrame &frame() const { return m_frame; }

private:
    QVideoFrame m_frame;
    bool m_mapped = false;
};

// What one analysis looks at: the frame's own luma when it can be read in
// place, else a grey copy.
struct LumaSource
{
    explicit LumaSource(const QVideoFrame &frame)
        : mapped(frame)
    {
        if (!mapped.isMapped())
            return;
        plane = lumaPlane(frame);
        if (!plane) {
            grey = greyImage(frame);
            if (!grey.isNull())
                plane = planeOf(grey);
        }
    }

    MappedFrame mapped;
    QImage grey;
    std::optional<LumaPlane> plane;
};

} // namespace

struct FrameAnalyzer::Detector
{
    std::unique_ptr<FaceFinder> finder;
    std::vector<unsigned char> small;

    std::optional<QRectF> largestFace(const LumaPlane &plane)
    {
        // About 320×240 is where the detector is fast, and there it finds
        // every face from arm's length to right up close. Its smallest face
        // is 80 pixels, though, a quarter of that width: a face further away
        // only shows at full size. Looking at the whole frame at full size
        // costs ten times as much, so when nothing was found only the middle
        // of the frame is looked at again, at full size, which is where
        // someone sitting back from the camera is.
        const int factor = std::max(1, int(std::lround(plane.width / 320.0)));
        const QRect whole(0, 0, plane.width, plane.height);
        if (auto face = largestFace(plane, factor, whole, FaceFinder::Sizes::All))
            return face;
        if (factor == 1)
            return std::nullopt;
        const int fine = std::max(1, factor / 2);
        const QRect middle(plane.width / 4, plane.height / 4, plane.width / 2, plane.height / 2);
        return largestFace(plane, fine, middle, FaceFinder::Sizes::Small);
    }

    // `region` of the frame shrunk by `factor` into `small`, each pixel the
    // average of its block, which keeps the small picture's edges clean.
    // Written once per kind of pixel, so that nothing but the sum is left in
    // the inner loop: it reads a whole frame each time.
    template<typename Read>
    void shrink(const LumaPlane &plane, const QRect &region, int factor, int w, int h, Read read)
    {
        const int area = factor * factor;
        const qsizetype step = plane.step;
        for (int y = 0; y < h; ++y) {
            const uchar *rowStart = plane.base + qsizetype(region.top() + y * factor) * plane.stride
                + qsizetype(region.left()) * step + plane.offset;
            unsigned char *out = small.data() + std::size_t(y) * std::size_t(w);
            for (int x = 0; x < w; ++x) {
                const uchar *block = rowStart + qsizetype(x) * factor * step;
                int sum = 0;
                for (int dy = 0; dy < factor; ++dy) {
                    const uchar *p = block + qsizetype(dy) * plane.stride;
                    for (int dx = 0; dx < factor; ++dx)
                        sum += read(p + dx * step);
                }
                out[x] = static_cast<unsigned char>(sum / area);
            }
        }
    }

    // Looks at `region` of the frame shrunk by `factor`; the box comes back
    // normalised to the whole frame.
    std::optional<QRectF> largestFace(const LumaPlane &plane, int factor, const QRect &region,
                                      FaceFinder::Sizes sizes)
    {
        const int w = region.width() / factor;
        const int h = region.height() / factor;
        if (w <= 0 || h <= 0)
            return std::nullopt;
        small.resize(std::size_t(w) * std::size_t(h));
        if (plane.kind == LumaPlane::Kind::Luma) {
            shrink(plane, region, factor, w, h, [](const uchar *p) { return int(*p); });
        } else {
            shrink(plane, region, factor, w, h,
                   [&plane](const uchar *p) { return (77 * p[plane.r] + 150 * p[plane.g] + 29 * p[plane.b]) >> 8; });
        }

        std::optional<FaceFinder::Box> best;
        try {
            best = finder->largestFace(small.data(), w, h, w, sizes);
        } catch (const std::exception &error) {
            qCWarning(lcAnalysis) << "face detection failed:" << error.what();
            return std::nullopt;
        }
        if (!best)
            return std::nullopt;
        // The finder's boxes are inclusive pixel rectangles, top down; clip
        // them to the picture and turn them into the bottom-left unit square.
        const double W = plane.width;
        const double H = plane.height;
        const double left = std::clamp<double>(region.left() + best->left * factor, 0, W);
        const double right = std::clamp<double>(region.left() + (best->right + 1) * factor, 0, W);
        const double top = std::clamp<double>(region.top() + best->top * factor, 0, H);
        const double bottom = std::clamp<double>(region.top() + (best->bottom + 1) * factor, 0, H);
        return QRectF(left / W, 1.0 - bottom / H, (right - left) / W, (bottom - top) / H);
    }
};

FrameAnalyzer::FrameAnalyzer(Clock &clock, FinderFactory makeFinder)
    : m_clock(clock)
    , m_makeFinder(makeFinder)
{
}

FrameAnalyzer::Detector &FrameAnalyzer::detector()
{
    if (!m_detector) {
        m_detector = std::make_unique<Detector>();
        m_detector->finder = m_makeFinder();
        qCDebug(lcAnalysis) << "face finder:" << m_detector->finder->build();
    }
    return *m_detector;
}

FrameAnalyzer::~FrameAnalyzer() = default;

void FrameAnalyzer::frameArrived(const QVideoFrame &frame)
{
    const double now = m_clock.monotonicNow();
    if (m_lastAnalysis && now - *m_lastAnalysis < interval)
        return;
    if (!frame.isValid())
        return;
    m_lastAnalysis = now;

    LumaSource source(frame);
    if (!source.plane)
        return;
    const std::optional<QRectF> face = detector().largestFace(*source.plane);
    const std::optional<double> brightness = ::averageLuma(face, *source.plane);
    if (!brightness)
        return;
    if (m_onCheck)
        m_onCheck(FrameCheck::judge(face, *brightness));
}

std::optional<QRectF> FrameAnalyzer::largestFace(const QVideoFrame &frame)
{
    LumaSource source(frame);
    if (!source.plane)
        return std::nullopt;
    return detector().largestFace(*source.plane);
}

std::optional<double> FrameAnalyzer::averageLuma(const std::optional<QRectF> &region, const QVideoFrame &frame)
{
    LumaSource source(frame);
    if (!source.plane)
        return std::nullopt;
    return ::averageLuma(region, *source.plane);
}
