#include "camera/PipeWireCameras.h"

#include <QDir>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QStandardPaths>
#include <QSet>
#include <QThread>
#include <csignal>
#include <sys/prctl.h>

namespace {

void stopProcess(QProcess &process)
{
    if (process.state() == QProcess::NotRunning)
        return;
    process.terminate();
    if (!process.waitForFinished(3000)) {
        process.kill();
        process.waitForFinished(3000);
    }
}

QJsonArray dump()
{
    QProcess process;
    process.start(QStringLiteral("pw-dump"), {QStringLiteral("--no-colors")});
    process.waitForFinished(5000);
    return QJsonDocument::fromJson(process.readAllStandardOutput()).array();
}

QString text(const QJsonObject &object, const char *key)
{
    const QJsonValue v = object.value(QLatin1String(key));
    return v.isString() ? v.toString() : v.isDouble() ? QString::number(v.toInteger()) : QString();
}
QJsonObject info(const QJsonValue &object) { return object[QStringLiteral("info")].toObject(); }
QJsonObject props(const QJsonValue &object) { return info(object)[QStringLiteral("props")].toObject(); }
QString type(const QJsonValue &object) { return object[QStringLiteral("type")].toString(); }

// The ids of the video source nodes named `name` (all of them when empty).
QList<int> sourceNodes(const QJsonArray &objects, const QString &name = {})
{
    QList<int> ids;
    for (const QJsonValue &object : objects)
        if (type(object) == QLatin1String("PipeWire:Interface:Node") && text(props(object), "media.class") == QLatin1String("Video/Source")
            && (name.isEmpty() || text(props(object), "node.description") == name))
            ids.append(object[QStringLiteral("id")].toInt());
    return ids;
}

// The id of the video source `name` once the server lists it; -1 after 10 s
// or once `maker` (the process behind it, if any) has ended.
int waitForSource(const QString &name, const QProcess *maker = nullptr)
{
    QElapsedTimer waited;
    waited.start();
    QList<int> nodes;
    while ((nodes = sourceNodes(dump(), name)).isEmpty()) {
        if (waited.elapsed() > 10000 || (maker && maker->state() == QProcess::NotRunning))
            return -1;
        QThread::msleep(50);
    }
    return nodes.first();
}

} // namespace

PipeWireCameras::~PipeWireCameras()
{
    m_linking = false;
    if (m_linker.joinable())
        m_linker.join();
    for (auto &camera : m_jpegCameras)
        stopProcess(*camera);
    stopProcess(m_pipewire);
}

QString PipeWireCameras::start()
{
    for (const char *tool : {"pipewire", "pw-dump", "pw-link", "pw-cli"}) {
        if (QStandardPaths::findExecutable(QString::fromLatin1(tool)).isEmpty())
            return QStringLiteral("%1 is missing: install the Debian packages pipewire and pipewire-bin")
                .arg(QLatin1String(tool));
    }
    if (!m_dir.isValid())
        return QStringLiteral("no temporary folder");
    QFile::setPermissions(m_dir.path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    qputenv("XDG_RUNTIME_DIR", m_dir.path().toUtf8());
    qunsetenv("PIPEWIRE_REMOTE");
    // Its own configuration and state folders, so nothing of a desktop
    // session leaks in and nothing is left behind.
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("XDG_STATE_HOME"), m_dir.filePath(QStringLiteral("state")));
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), m_dir.filePath(QStringLiteral("config")));
    env.insert(QStringLiteral("PIPEWIRE_LOG_SYSTEMD"), QStringLiteral("false"));
    // PipeWire's own test picture source, which the stock configuration
    // leaves unnamed.
    QDir().mkpath(m_dir.filePath(QStringLiteral("config/pipewire/pipewire.conf.d")));
    QFile conf(m_dir.filePath(QStringLiteral("config/pipewire/pipewire.conf.d/cameras.conf")));
    if (!conf.open(QIODevice::WriteOnly)
        || conf.write("context.spa-libs = { videotestsrc = videotestsrc/libspa-videotestsrc }\n") < 0)
        return QStringLiteral("cannot write %1").arg(conf.fileName());
    conf.close();
    m_pipewire.setProcessEnvironment(env);
    m_pipewire.setStandardOutputFile(QProcess::nullDevice());
    m_pipewire.setStandardErrorFile(m_dir.filePath(QStringLiteral("pipewire.log")));
    // A test that crashes must not leave its server behind.
    m_pipewire.setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGTERM); });
    m_pipewire.start(QStringLiteral("pipewire"), {});
    QElapsedTimer waited;
    waited.start();
    while (!QFile::exists(m_dir.filePath(QStringLiteral("pipewire-0")))) {
        if (waited.elapsed() > 10000 || m_pipewire.state() == QProcess::NotRunning)
            return QStringLiteral("pipewire did not start (see %1/pipewire.log)").arg(m_dir.path());
        QThread::msleep(20);
    }
    m_linking = true;
    m_linker = std::thread([this] {
        while (m_linking) {
            {
                const std::lock_guard<std::mutex> pass(m_pass);
                if (!m_linkingPaused)
                    linkReaders();
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    });
    return {};
}

QString PipeWireCameras::addCamera(const QString &name)
{
    // A node inside the server, as the server's own V4L2 monitor makes for
    // a USB camera: it outlives the tool that asked for it and serves one
    // reader after another.
    const QString props = QStringLiteral("{ factory.name=videotestsrc node.name=%1 node.description=%1 "
                                         "media.class=Video/Source object.linger=true }")
                              .arg(name);
    QProcess create;
    create.start(QStringLiteral("pw-cli"), {QStringLiteral("create-node"), QStringLiteral("adapter"), props});
    if (!create.waitForFinished(10000) || create.exitCode() != 0)
        return QStringLiteral("pw-cli could not make camera %1: %2; %3")
            .arg(name, QString::fromUtf8(create.readAllStandardError()), whatHappened({QStringLiteral("pipewire.log")}));
    const int node = waitForSource(name);
    if (node < 0)
        return QStringLiteral("camera %1 did not appear (is libspa-0.2-modules installed?); %2")
            .arg(name, whatHappened({QStringLiteral("pipewire.log")}));
    m_cameras.insert(name, node);
    return {};
}

QString PipeWireCameras::addJpegCamera(const QString &name)
{
    if (QStandardPaths::findExecutable(QStringLiteral("gst-launch-1.0")).isEmpty())
        return QStringLiteral("gst-launch-1.0 is missing: install the Debian package gstreamer1.0-tools");
    auto camera = std::make_unique<QProcess>();
    camera->setChildProcessModifier([] { prctl(PR_SET_PDEATHSIG, SIGTERM); });
    camera->setStandardOutputFile(QProcess::nullDevice());
    camera->setStandardErrorFile(m_dir.filePath(name + QStringLiteral(".log")));
    camera->start(QStringLiteral("gst-launch-1.0"),
                  QStringLiteral("videotestsrc is-live=true ! video/x-raw,width=640,height=480,framerate=30/1 ! jpegenc "
                                 "! pipewiresink mode=provide stream-properties=props,media.class=Video/Source,"
                                 "node.name=%1,node.description=%1")
                      .arg(name)
                      .split(QLatin1Char(' ')));
    if (waitForSource(name, camera.get()) < 0)
        return QStringLiteral("JPEG camera %1 did not appear; %2")
            .arg(name, whatHappened({name + QStringLiteral(".log"), QStringLiteral("pipewire.log")}));
    m_jpegCameras.push_back(std::move(camera));
    return {};
}

QString PipeWireCameras::whatHappened(const QStringList &logs) const
{
    QString said = m_pipewire.state() != QProcess::NotRunning ? QStringLiteral("the PipeWire server is running")
        : m_pipewire.exitStatus() == QProcess::CrashExit
        ? QStringLiteral("the PipeWire server crashed (see PipeWireCameras.h)")
        : QStringLiteral("the PipeWire server has exited (code %1)").arg(m_pipewire.exitCode());
    for (const QString &log : logs) {
        QFile file(m_dir.filePath(log));
        const QStringList lines = file.open(QIODevice::ReadOnly)
            ? QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts)
            : QStringList();
        said += QStringLiteral("; %1 ends:\n%2").arg(log, lines.mid(std::max<qsizetype>(0, lines.size() - 10)).join(QLatin1Char('\n')));
    }
    return said;
}

void PipeWireCameras::removeCamera(const QString &name)
{
    if (m_cameras.contains(name))
        QProcess::execute(QStringLiteral("pw-cli"), {QStringLiteral("destroy"), QString::number(m_cameras.take(name))});
}

int PipeWireCameras::readers() const
{
    const QJsonArray objects = dump();
    const QList<int> sources = sourceNodes(objects);
    int links = 0;
    for (const QJsonValue &object : objects)
        links += type(object) == QLatin1String("PipeWire:Interface:Link")
            && sources.contains(info(object)[QStringLiteral("output-node-id")].toInt());
    return links;
}

void PipeWireCameras::setLinking(bool on)
{
    m_linkingPaused = !on;
    const std::lock_guard<std::mutex> wait(m_pass);
}

void PipeWireCameras::linkReaders()
{
    const QJsonArray objects = dump();
    QMap<QString, int> cameras; // by id, serial or name
    QMap<int, QList<int>> outputs, inputs; // node -> ports
    QSet<int> linkedInputs;
    QList<std::pair<int, QString>> readers; // node, the camera it asked for
    for (const QJsonValue &object : objects) {
        const QJsonObject p = props(object);
        const int id = object[QStringLiteral("id")].toInt();
        if (type(object) == QLatin1String("PipeWire:Interface:Node")) {
            if (text(p, "media.class") == QLatin1String("Video/Source")) {
                for (const QString &key : {QString::number(id), text(p, "object.serial"), text(p, "node.name")})
                    cameras.insert(key, id);
            } else if (text(p, "media.class") == QLatin1String("Stream/Input/Video")) {
                const QString target = text(p, "target.object");
                readers.append({id, target.isEmpty() ? text(p, "node.target") : target});
            }
        } else if (type(object) == QLatin1String("PipeWire:Interface:Port")) {
            (info(object)[QStringLiteral("direction")].toString() == QLatin1String("output") ? outputs : inputs)[text(p, "node.id").toInt()].append(id);
        } else if (type(object) == QLatin1String("PipeWire:Interface:Link")) {
            linkedInputs.insert(info(object)[QStringLiteral("input-port-id")].toInt());
        }
    }
    for (const auto &[reader, target] : std::as_const(readers)) {
        const QList<int> out = outputs.value(cameras.value(target, -1));
        const QList<int> in = inputs.value(reader);
        if (!out.isEmpty() && !in.isEmpty() && !linkedInputs.contains(in.first()))
            QProcess::execute(QStringLiteral("pw-link"), {QString::number(out.first()), QString::number(in.first())});
    }
}
