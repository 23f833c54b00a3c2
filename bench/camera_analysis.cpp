// Times one frame analysis on a 640×480 camera frame with a face in view,
// face detection included, in CPU time of the analysing thread (these
// machines are shared, so wall time says more about the neighbours), against
// the simplest honest baseline in the same process: one pass summing every
// luma byte of the frame.
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

} // namespace

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv); // frame conversion needs one
    const int runs = argc > 1 ? std::max(1, atoi(argv[1])) : 60;
    const QImage picture = CameraFrames::compose(CameraFrames::astronaut(), 2.4, QPointF(220, 110), QPointF(320, 216));
    const QVideoFrame frame = CameraFrames::nv12(picture);

    ManualClock clock;
    FrameAnalyzer analyzer(clock);
    int checks = 0;
    analyzer.setOnCheck([&](const FrameCheck &) { ++checks; });
    analyzer.frameArrived(frame); // the detector's model is made on first use

    QList<double> analysis;
    QList<double> conversion;
    for (int i = 0; i < runs; ++i) {
        clock.advance(FrameAnalyzer::interval);
        double start = cpuMs();
        analyzer.frameArrived(frame);
        analysis.append(cpuMs() - start);
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
    std::sort(analysis.begin(), analysis.end());
    std::sort(conversion.begin(), conversion.end());
    const double median = analysis[analysis.size() / 2];
    const double baseline = conversion[conversion.size() / 2];
    std::printf("frame analysis, 640x480 NV12 with a face: median %.2f ms, worst %.2f ms CPU over %d runs (%d checks)\n",
                median, analysis.last(), runs, checks);
    std::printf("baseline, summing every luma byte once: median %.3f ms; ratio %.1f\n", baseline,
                median / baseline);

    // Nobody in view (her shoulder and the flag behind her): the detector
    // looks twice, the second time at the middle, larger.
    const QVideoFrame nobody = CameraFrames::nv12(CameraFrames::compose(
        CameraFrames::astronaut().copy(320, 250, 192, 262), 3.4, QPointF(0, 0), QPointF(0, 0)));
    QList<double> noFace;
    for (int i = 0; i < runs; ++i) {
        clock.advance(FrameAnalyzer::interval);
        const double start = cpuMs();
        analyzer.frameArrived(nobody);
        noFace.append(cpuMs() - start);
    }
    std::sort(noFace.begin(), noFace.end());
    std::printf("frame analysis, 640x480 NV12 without a face: median %.2f ms, worst %.2f ms CPU\n",
                noFace[noFace.size() / 2], noFace.last());
    return 0;
}
