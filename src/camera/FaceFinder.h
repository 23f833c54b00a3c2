#pragma once

#include <memory>
#include <optional>

// Finds faces in an 8-bit grey picture with dlib's frontal face detector.
//
// On x86-64 the same finder is built twice: into the application for any
// CPU, and as a small module for CPUs with AVX2 and FMA, where the detector
// takes about a sixth less time. The module is loaded at run time only on
// CPUs that have those instructions, and it keeps its copy of the detector's
// code to itself, so the two builds never mix. Only plain types cross
// between them.
class FaceFinder
{
public:
    // Which faces to look for. `All` covers every face from the detector's
    // smallest, 80 pixels, to the picture's height; `Small` stops at twice
    // the smallest, for a second look at a picture already searched at half
    // the size, where the larger faces were already ruled out.
    enum class Sizes { All, Small };

    // Inclusive pixel rectangle, rows top down, as the detector gives it.
    struct Box
    {
        long left = 0;
        long top = 0;
        long right = 0;
        long bottom = 0;
    };

    virtual ~FaceFinder() = default;

    // The largest face in the picture, if any. Not thread safe: one finder
    // per thread.
    virtual std::optional<Box> largestFace(const unsigned char *pixels, int width, int height, int stride,
                                           Sizes sizes) = 0;
    // "AVX2" or "built in", for logs and benchmarks.
    virtual const char *build() const = 0;

    // The fastest finder this CPU can run.
    static std::unique_ptr<FaceFinder> create();
    // The one built into the application, which any CPU runs.
    static std::unique_ptr<FaceFinder> createBuiltIn();
};
