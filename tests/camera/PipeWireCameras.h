#pragma once

#include <QMap>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <atomic>
#include <mutex>
#include <thread>
#include <memory>

// Webcams for a machine that has none: a PipeWire server of the test's own
// with test picture source nodes in it, as PipeWire makes for USB cameras.
// The capture layer finds them through GStreamer's device monitor. The
// fixture links each reader to the camera it asked for, as the desktop's
// session manager would (WirePlumber 0.4 refuses to link to a node that no
// device monitor made). XDG_RUNTIME_DIR is pointed at a private folder, so
// start() must run before the capture layer first looks.
//
// PipeWire 0.3.65's test picture node now and then brings its server down
// when a reader lets go of it: its frame timer writes a frame's status
// through the reader's exchange area after the server has cleared it (a
// core shows the write to address 0 in libspa-videotestsrc, on the server's
// data thread). Switching cameras 40 times crashed it in about one run in
// three; the capture test lets go a handful of times and failed that way in
// 2 of 33 runs, so tools/test runs a failed test once more. A reader whose
// server dies can then crash inside libpipewire as well. Neither crash is
// in Tarnwick's code.
class PipeWireCameras
{
public:
    PipeWireCameras() = default;
    PipeWireCameras(const PipeWireCameras &) = delete;
    PipeWireCameras &operator=(const PipeWireCameras &) = delete;
    ~PipeWireCameras();

    // Empty on success, else what is missing (naming the Debian package).
    QString start();
    // A camera called `name` (one word) showing a test picture, in any size
    // and frame rate a reader asks for.
    QString addCamera(const QString &name);
    // A camera that sends only JPEG pictures, 640×480 at 30 fps, as some
    // USB cameras do. It lives as long as the fixture.
    QString addJpegCamera(const QString &name);
    void removeCamera(const QString &name);

    // Links from our cameras to anyone reading them: 0 once every reader let go.
    int readers() const;
    // While off, readers wait unlinked, as with a session manager that
    // never gets round to them. Pausing waits for a pass already under way,
    // which could otherwise still link a reader that arrives after the call.
    void setLinking(bool on);

private:
    static void linkReaders();
    // For a failure message: whether the server still runs, and the end of
    // each log (the temporary folder is gone by the time anyone reads it).
    QString whatHappened(const QStringList &logs) const;

    QTemporaryDir m_dir;
    QProcess m_pipewire;
    // Linking runs on a thread of its own: opening a camera blocks the main
    // thread until the link is there.
    std::thread m_linker;
    std::atomic<bool> m_linking{false};
    std::atomic<bool> m_linkingPaused{false};
    std::mutex m_pass;
    QMap<QString, int> m_cameras; // name -> node id
    std::vector<std::unique_ptr<QProcess>> m_jpegCameras;
};
