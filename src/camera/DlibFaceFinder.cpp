// dlib's face detector behind FaceFinder. This file is compiled into the
// application for any CPU and, with TARNWICK_FACE_FINDER_MODULE, once more as
// the AVX2 module; it must not depend on anything but dlib and the standard
// library.

#include "camera/FaceFinder.h"

#include <cstring>

#include <dlib/image_processing/frontal_face_detector.h>

namespace {

// The built-in detector is compiled for plain SSE2. When other code in the
// process has left the upper halves of the AVX registers dirty (libraries
// pick AVX code at run time on CPUs that have it), each SSE instruction waits
// on those halves: on an AMD Zen 4 a frame with nobody in it took 30 ms
// instead of 12. Clearing them before each look costs one instruction. The
// AVX2 build has no legacy SSE instructions, so nothing to clear.
void clearUpperVectorHalves()
{
#if (defined(__x86_64__) || defined(__i386__)) && !defined(__AVX__)
    static const bool hasAvx = __builtin_cpu_supports("avx");
    if (hasAvx)
        asm volatile("vzeroupper" ::: "memory");
#endif
}

class DlibFaceFinder final : public FaceFinder
{
public:
    DlibFaceFinder()
        : m_all(dlib::get_frontal_face_detector())
        , m_small(withLevels(m_all, smallFaceLevels))
    {
    }

    std::optional<Box> largestFace(const unsigned char *pixels, int width, int height, int stride,
                                   Sizes sizes) override
    {
        if (pixels == nullptr || width <= 0 || height <= 0)
            return std::nullopt;
        m_picture.set_size(height, width);
        for (int row = 0; row < height; ++row)
            std::memcpy(&m_picture[row][0], pixels + std::ptrdiff_t(row) * stride, std::size_t(width));

        clearUpperVectorHalves();
        const std::vector<dlib::rectangle> faces = (sizes == Sizes::All ? m_all : m_small)(m_picture);
        const dlib::rectangle *best = nullptr;
        for (const dlib::rectangle &face : faces) {
            if (best == nullptr || face.area() > best->area())
                best = &face;
        }
        if (best == nullptr)
            return std::nullopt;
        return Box{best->left(), best->top(), best->right(), best->bottom()};
    }

    const char *build() const override
    {
#ifdef __AVX2__
        return "AVX2";
#else
        return "built in";
#endif
    }

private:
    // The look at half the size finds faces from about a sixth of the
    // frame's width (110 pixels) up. At full size, three levels of the
    // detector's 5/6 pyramid (faces from 80, 96 and 115 pixels) reach that;
    // the fourth is margin for faces the detector boxes a little smaller.
    // Larger levels would only find again what the first look ruled out.
    static constexpr unsigned long smallFaceLevels = 4;

    // The same detector, all five of its filters (looking ahead, to either
    // side, and tilted either way), on a shorter pyramid.
    static dlib::frontal_face_detector withLevels(const dlib::frontal_face_detector &stock, unsigned long levels)
    {
        dlib::scan_fhog_pyramid<dlib::pyramid_down<6>> scanner;
        scanner.copy_configuration(stock.get_scanner());
        scanner.set_max_pyramid_levels(levels);
        std::vector<dlib::frontal_face_detector::feature_vector_type> filters;
        for (unsigned long i = 0; i < stock.num_detectors(); ++i)
            filters.push_back(stock.get_w(i));
        return dlib::frontal_face_detector(scanner, stock.get_overlap_tester(), filters);
    }

    // The detector's model is compiled into dlib; decoding it takes a few
    // milliseconds, so a finder is made once and kept.
    dlib::frontal_face_detector m_all;
    dlib::frontal_face_detector m_small;
    dlib::array2d<unsigned char> m_picture;
};

} // namespace

#ifdef TARNWICK_FACE_FINDER_MODULE
// The module's one entry point. The number is the version of FaceFinder's
// layout: an old module left beside a newer application is not loaded.
extern "C" __attribute__((visibility("default"))) FaceFinder *tarnwickCreateFaceFinder1()
{
    return new DlibFaceFinder;
}
#else
std::unique_ptr<FaceFinder> FaceFinder::createBuiltIn()
{
    return std::make_unique<DlibFaceFinder>();
}
#endif
