#pragma once

#include "camera/FaceFinder.h"
#include "camera/FrameCheck.h"

#include <QRectF>
#include <QVideoFrame>
#include <functional>
#include <memory>
#include <optional>

class Clock;

// Turns live camera frames into lighting and framing checks, at most twice a
// second whatever the camera's frame rate. It runs on the capture's analysis
// thread: frameArrived() and the callback happen there, nowhere else.
class FrameAnalyzer
{
public:
    using CheckHandler = std::function<void(const FrameCheck &)>;

    using FinderFactory = std::unique_ptr<FaceFinder> (*)();

    // The finder is made on the first analysis, on the analysing thread.
    explicit FrameAnalyzer(Clock &clock, FinderFactory makeFinder = &FaceFinder::create);
    ~FrameAnalyzer();
    FrameAnalyzer(const FrameAnalyzer &) = delete;
    FrameAnalyzer &operator=(const FrameAnalyzer &) = delete;

    static constexpr double interval = 0.5;

    void setOnCheck(CheckHandler handler) { m_onCheck = std::move(handler); }

    // Every frame the camera delivers. Frames within `interval` of the last
    // analysed one cost a clock read and nothing else.
    void frameArrived(const QVideoFrame &frame);

    // The largest face, normalised with the origin at the bottom left.
    std::optional<QRectF> largestFace(const QVideoFrame &frame);
    // Mean brightness (0…1) over `region` (the whole frame without one),
    // sampling every sixth pixel of every sixth row.
    static std::optional<double> averageLuma(const std::optional<QRectF> &region, const QVideoFrame &frame);

private:
    struct Detector;

    Clock &m_clock;
    FinderFactory m_makeFinder;
    CheckHandler m_onCheck;
    std::optional<double> m_lastAnalysis;
    std::unique_ptr<Detector> m_detector;

    Detector &detector();
};
