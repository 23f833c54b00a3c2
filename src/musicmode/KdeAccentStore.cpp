#include "musicmode/KdeAccentStore.h"

#include "musicmode/AccentPalette.h"

#include <QColor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QLoggingCategory>
#include <QProcess>
#include <QStandardPaths>
#include <cmath>

Q_LOGGING_CATEGORY(lcKdeAccent, "tarnwick.musicmode.kde", QtWarningMsg)

namespace {

const QString kFile = QStringLiteral("kdeglobals");
const QString kGroup = QStringLiteral("General");
const QString kKey = QStringLiteral("AccentColor");
constexpr int kToolTimeoutMs = 5000;

int channel(double c)
{
    return int(std::lround(std::clamp(c, 0.0, 1.0) * 255.0));
}

std::optional<ArtworkAccentColor::RGB> colorOf(const IconTint &tint)
{
    if (tint.custom && tint.custom->size() >= 3)
        return ArtworkAccentColor::RGB{tint.custom->at(0), tint.custom->at(1), tint.custom->at(2)};
    if (tint.name >= 1 && tint.name <= 9)
        return AccentPalette::color(int(tint.name));
    return std::nullopt;
}

bool run(const QString &program, const QStringList &arguments, QByteArray *output = nullptr)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(program, arguments);
    if (!process.waitForFinished(kToolTimeoutMs)) {
        qCWarning(lcKdeAccent) << program << "did not finish";
        process.kill();
        process.waitForFinished();
        return false;
    }
    if (output)
        *output = process.readAllStandardOutput();
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

} // namespace

std::unique_ptr<KdeAccentStore> KdeAccentStore::create()
{
    const QString readTool = QStandardPaths::findExecutable(QStringLiteral("kreadconfig5"));
    const QString writeTool = QStandardPaths::findExecutable(QStringLiteral("kwriteconfig5"));
    if (readTool.isEmpty() || writeTool.isEmpty())
        return nullptr;
    const QString applyTool = QStandardPaths::findExecutable(QStringLiteral("plasma-apply-colorscheme"));
    return std::unique_ptr<KdeAccentStore>(new KdeAccentStore(readTool, writeTool, applyTool));
}

KdeAccentStore::KdeAccentStore(QString readTool, QString writeTool, QString applyTool)
    : m_readTool(std::move(readTool))
    , m_writeTool(std::move(writeTool))
    , m_applyTool(std::move(applyTool))
{
}

QString KdeAccentStore::entryText(const IconTint &tint)
{
    const auto rgb = colorOf(tint);
    if (!rgb)
        return {};
    return QStringLiteral("%1,%2,%3").arg(channel(rgb->r)).arg(channel(rgb->g)).arg(channel(rgb->b));
}

std::optional<IconTint> KdeAccentStore::fromEntry(const QString &text)
{
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return IconTint{};
    // KDE accepts both its own "r,g,b" and "#rrggbb".
    QColor color;
    const QStringList parts = trimmed.split(u',');
    if (parts.size() == 3 || parts.size() == 4) {
        int rgb[3];
        for (int i = 0; i < 3; ++i) {
            bool ok = false;
            rgb[i] = parts[i].trimmed().toInt(&ok);
            if (!ok || rgb[i] < 0 || rgb[i] > 255)
                return std::nullopt;
        }
        color = QColor(rgb[0], rgb[1], rgb[2]);
    } else {
        color = QColor::fromString(trimmed);
    }
    if (!color.isValid())
        return std::nullopt;
    return IconTint::customColor(color.red() / 255.0, color.green() / 255.0, color.blue() / 255.0);
}

IconTint KdeAccentStore::asStored(const IconTint &tint) const
{
    return fromEntry(entryText(tint)).value_or(IconTint{});
}

std::optional<IconTint> KdeAccentStore::read()
{
    QByteArray output;
    if (!run(m_readTool, {QStringLiteral("--file"), kFile, QStringLiteral("--group"), kGroup, QStringLiteral("--key"),
                          kKey},
             &output))
        return std::nullopt;
    return fromEntry(QString::fromUtf8(output));
}

void KdeAccentStore::write(const IconTint &tint)
{
    const QString entry = entryText(tint);
    const QStringList where{QStringLiteral("--file"), kFile, QStringLiteral("--group"), kGroup, QStringLiteral("--key"),
                            kKey};
    if (entry.isEmpty()) {
        run(m_writeTool, where + QStringList{QStringLiteral("--delete"), QString()});
    } else if (!m_applyTool.isEmpty()) {
        const auto rgb = colorOf(tint);
        const QString hex = QColor(channel(rgb->r), channel(rgb->g), channel(rgb->b)).name();
        if (!run(m_applyTool, {QStringLiteral("--accent-color"), hex}))
            run(m_writeTool, where + QStringList{entry});
    } else {
        run(m_writeTool, where + QStringList{entry});
    }
    announce();
}

void KdeAccentStore::announce()
{
    // What KConfig itself sends for a changed key with its notify flag, and
    // the palette-changed call of KDE's colour settings: running applications
    // re-read their colours on either.
    QDBusMessage changed = QDBusMessage::createSignal(QStringLiteral("/") + kFile,
                                                      QStringLiteral("org.kde.kconfig.notify"),
                                                      QStringLiteral("ConfigChanged"));
    using ChangedKeys = QHash<QString, QByteArrayList>;
    static const QMetaType registered = qDBusRegisterMetaType<ChangedKeys>();
    Q_UNUSED(registered);
    ChangedKeys keys{{kGroup, {kKey.toUtf8()}}};
    changed << QVariant::fromValue(keys);
    QDBusMessage palette = QDBusMessage::createSignal(QStringLiteral("/KGlobalSettings"),
                                                      QStringLiteral("org.kde.KGlobalSettings"),
                                                      QStringLiteral("notifyChange"));
    palette << 0 << 0;
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected()) {
        bus.send(changed);
        bus.send(palette);
    }
}
