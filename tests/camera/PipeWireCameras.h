#pragma once

#include <QMap>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>
#include <atomic>
#include <thread>
#include <memory>

// Webcams for a machine that has none: a PipeWire server of the test's own
// and GStreamer pipelines that each offer a video source node to it, as a
// camera portal or a USB camera handled by PipeWire does. Qt's capture layer
// finds them through GStreamer's device monitor. The fixture is its own
// session manager: it links each reader to the camera it asked for (the
// desktop's session manager does that on a real machine; WirePlumber 0.4
// refuses to link to a node that no device monitor made). Everything lives
// in a private runtime folder; XDG_RUNTIME_DIR is pointed at it, so start()
// must run before the capture layer first looks.
class PipeWireCameras
{
public:
    PipeWireCameras() = default;
    PipeWireCameras(const PipeWireCameras &) = delete;
    PipeWireCameras &operator=(const PipeWireCameras &) = delete;
    ~PipeWireCameras();

    // Empty on success, else what is missing (naming the Debian package).
    QString start();
    // A 640×480, 30 fps NV12 camera called `name` (one word): a moving test pattern, or
    // the still picture in `pngPath` when one is given.
    QString addCamera(const QString &name, const QString &pngPath = {});
    void removeCamera(const QString &name);

    // Links from our cameras to anyone reading them: 0 once every reader let go.
    int readers() const;
    QString folder() const { return m_dir.path(); }

private:
    static void linkReaders();

    QTemporaryDir m_dir;
    QProcess m_pipewire;
    // Linking runs on a thread of its own: opening a camera blocks the main
    // thread until the link is there.
    std::thread m_linker;
    std::atomic<bool> m_linking{false};
    QMap<QString, std::shared_ptr<QProcess>> m_cameras;
};
