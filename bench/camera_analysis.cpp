// Times one frame analysis on a 640×480 camera frame, with a face in view and
// with nobody, face detection included, for the face finder this CPU gets
// and for the built-in one, in CPU time of the analysing thread (these
// machines are shared, so wall time says more about the neighbours), against
// the simplest honest baseline in the same process: one pass summing every
// luma byte of the frame.
//
// A fixed reference loop of arithmetic runs before every analysis, and the
// figures are also given for the frames whose reference ran at full speed.
// When the reference slows down, something besides the analysis is slowing
// this process: a busy shared machine, or CPU state another piece of code
// left behind (that is how stale AVX register halves were found to triple
// the time of SSE code here).
//
//   bench_camera [runs]   (QT_QPA_PLATFORM=offscreen without a display)

#include "camera/FrameAnalyzer.h"
#include "core/ManualClock.h"

#include "camera/CameraFrames.h"

#include <QGuiApplication>
#include <algorithm>
#include <cstdio>
#include <ctime>

namespace {

double cpuMs()
{
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return double(t.tv_sec) * 1e3 + double(t.tv_nsec) / 1e6;
}

// A fixed amount of arithmetic (a tenth of a millisecond here); its time says
// how fast this process is running just now.
double referenceMs()
{
    static float buffer[16384];
    const double start = cpuMs();
    for (int pass = 0; pass < 40; ++pass)
        for (float &value : buffer)
            value = value * 0.999f + 1.0f;
    return cpuMs() - start;
}

struct Timing
{
    double reference;
    double analysis;
};

void report(const char *what, const QList<Timing> &timings)
{
    QList<double> all;
    double fastest = timings.first().reference;
    double slowest = fastest;
    for (const Timing &t : timings) {
        all.append(t.analysis);
        fastest = std::min(fastest, t.reference);
        slowest = std::max(slowest, t.reference);
    }
    QList<double> atFullSpeed;
    for (const Timing &t : timings) {
        if (t.reference <= fastest * 1.1)
            atFullSpeed.append(t.analysis);
    }
    std::sort(all.begin(), all.end());
    std::sort(atFullSpeed.begin(), atFullSpeed.end());
    std::printf("frame analysis, 640x480 NV12 %s: median %.2f ms, worst %.2f ms CPU over %lld frames;\n"
                "  at full speed (reference within 10%% of its fastest, %lld frames): median %.2f ms, worst %.2f ms;"
                " reference %.2f-%.2f ms\n",
                what, all[all.size() / 2], all.last(), qlonglong(all.size()), qlonglong(atFullSpeed.size()),
                atFullSpeed[atFullSpeed.size() / 2], atFullSpeed.last(), fastest, slowest);
}

// Both looks (a face in view, and nobody: then the detector looks twice, the
// second time at the middle, larger) with one build of the face finder.
void measure(FrameAnalyzer::FinderFactory finder, int runs)
{
    const QImage picture = CameraFrames::compose(CameraFrames::astronaut(), 2.4, QPointF(220, 110), QPointF(320, 216));
    const QVideoFrame frame = CameraFrames::nv12(picture);

    ManualClock clock;
    FrameAnalyzer analyzer(clock, finder);
    int checks = 0;
    analyzer.setOnCheck([&](const FrameCheck &) { ++checks; });
    analyzer.frameArrived(frame); // the detector's model is made on first use
    std::printf("face finder: %s\n", finder()->build());

    QList<Timing> withFace;
    QList<double> conversion;
    for (int i = 0; i < runs; ++i) {
        clock.advance(FrameAnalyzer::interval);
        const double reference = referenceMs();
        double start = cpuMs();
        analyzer.frameArrived(frame);
        withFace.append({reference, cpuMs() - start});
        start = cpuMs();
        QVideoFrame mapped = frame;
        mapped.map(QVideoFrame::ReadOnly);
        quint64 sum = 0;
        for (int y = 0; y < mapped.height(); ++y)
            for (int x = 0; x < mapped.width(); ++x)
                sum += mapped.bits(0)[y * mapped.bytesPerLine(0) + x];
        mapped.unmap();
        conversion.append(cpuMs() - start);
        if (sum == 0)
            std::printf("(a black frame)\n");
    }
    std::sort(conversion.begin(), conversion.end());
    report("with a face", withFace);
    std::printf("baseline, summing every luma byte once: median %.3f ms (%d checks)\n",
                conversion[conversion.size() / 2], checks);

    // Her shoulder and the flag behind her.
    const QVideoFrame nobody = CameraFrames::nv12(CameraFrames::compose(
        CameraFrames::astronaut().copy(320, 250, 192, 262), 3.4, QPointF(0, 0), QPointF(0, 0)));
    QList<Timing> noFace;
    for (int i = 0; i < runs; ++i) {
        clock.advance(FrameAnalyzer::interval);
        const double reference = referenceMs();
        const double start = cpuMs();
        analyzer.frameArrived(nobody);
        noFace.append({reference, cpuMs() - start});
    }
    report("without a face", noFace);
}

} // namespace

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv); // frame conversion needs one
    const int runs = argc > 1 ? std::max(1, atoi(argv[1])) : 60;
    // What the application runs on this CPU, then the build any CPU runs.
    measure(&FaceFinder::create, runs);
    measure(&FaceFinder::createBuiltIn, runs);
    return 0;
}
