#pragma once

#include "core/QmlSingleton.h"
#include "peeks/VolumeBackend.h"

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

#include <optional>

// The default audio output: its volume, mute state, whether its volume can be
// set at all, and what kind of output it is. Every value is published only
// when it really changes, so a view bound to it redraws only then.
class SystemVolume : public QObject, public QmlSingleton<SystemVolume> {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(double level READ level NOTIFY levelChanged)
    Q_PROPERTY(bool isMuted READ isMuted NOTIFY isMutedChanged)
    Q_PROPERTY(bool isAdjustable READ isAdjustable NOTIFY isAdjustableChanged)
    // The output, flattened for QML: hasOutput is false until the first read.
    Q_PROPERTY(bool hasOutput READ hasOutput NOTIFY outputChanged)
    Q_PROPERTY(QString outputName READ outputName NOTIFY outputChanged)
    Q_PROPERTY(SystemVolume::OutputKind outputKind READ outputKind NOTIFY outputChanged)
    Q_PROPERTY(QString outputSymbol READ outputSymbol NOTIFY outputChanged)
    // False while no sound server has ever answered: the band then says so
    // instead of showing a muted, empty control.
    Q_PROPERTY(bool isAvailable READ isAvailable NOTIFY textsChanged)
    // What the volume band shows, decided here so the views only draw it.
    Q_PROPERTY(QString readout READ readout NOTIFY textsChanged)
    Q_PROPERTY(QString readoutSymbol READ readoutSymbol NOTIFY textsChanged)
    Q_PROPERTY(QString accessibilityValue READ accessibilityValue NOTIFY textsChanged)
    Q_PROPERTY(QString help READ help NOTIFY textsChanged)

public:
    // The kinds of Output; declared out here only because the meta-object
    // system cannot see enums of nested classes.
    enum class OutputKind { BuiltIn, AirPods, Headphones, AirPlay, Display, Other };
    Q_ENUM(OutputKind)

    class Output {
    public:
        using Kind = OutputKind;

        QString name;
        Kind kind = Kind::Other;

        // The icon the volume control draws: a ligature of the Material Icons
        // font, our stand-in for the system symbols of other platforms.
        QString symbol() const;

        // Sorts an output into a kind from what the sound server says about it.
        // `name` is the output's display name (the AirPods test reads it).
        static Kind kindOf(const VolumeBackend::Sink &sink, const QString &name);

        bool operator==(const Output &) const = default;
    };

    explicit SystemVolume(VolumeBackend &backend, QObject *parent = nullptr);

    // Starts following the default output; later calls do nothing.
    void start();

    // Sets the volume, clamped to 0...1; raising a muted output unmutes it.
    Q_INVOKABLE void set(double level);
    Q_INVOKABLE void setMuted(bool muted);

    double level() const { return m_level; }
    bool isMuted() const { return m_isMuted; }
    bool isAdjustable() const { return m_isAdjustable; }
    const std::optional<Output> &output() const { return m_output; }

    bool hasOutput() const { return m_output.has_value(); }
    QString outputName() const { return m_output ? m_output->name : QString(); }
    Output::Kind outputKind() const { return m_output ? m_output->kind : Output::Kind::Other; }
    QString outputSymbol() const { return m_output ? m_output->symbol() : QString(); }

    bool isAvailable() const { return m_output.has_value() || m_backend.isConnected(); }
    QString readout() const;
    QString readoutSymbol() const;
    QString accessibilityValue() const;
    QString help() const;

    // What a device without a name is called.
    static QString unnamedOutput();
    static QString unreachableText();

Q_SIGNALS:
    void levelChanged();
    void isMutedChanged();
    void isAdjustableChanged();
    void outputChanged();
    // Any of the band's texts or its availability may have changed.
    void textsChanged();

private:
    void followDefaultOutput();
    void refresh(const VolumeBackend::Sink &sink);
    void setLevel(double level);
    void setIsMuted(bool muted);

    VolumeBackend &m_backend;
    bool m_started = false;
    QString m_device; // the output followed; empty before the first read
    double m_level = 0;
    bool m_isMuted = false;
    bool m_isAdjustable = false;
    std::optional<Output> m_output;
    bool m_wasAvailable = false;
};
