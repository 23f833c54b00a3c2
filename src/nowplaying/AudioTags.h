#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

// What Tarnwick reads from an audio file's tags, with TagLib: enough to
// recognise a track (title, artists, length) and its embedded cover. Safe
// to call from any thread; each call opens the file afresh.
namespace AudioTags {

struct Tags
{
    QString title;
    QStringList artists;
    std::optional<double> duration;
    bool hasCover = false;
};

// The audio files worth opening, by extension (lower case, no dot).
bool isAudioFile(const QString &fileName);

// Nothing when TagLib cannot open the file as audio.
std::optional<Tags> read(const QString &path);

// The front cover if the file has one, else its first picture: ID3v2 APIC
// frames (MP3, WAV, AIFF), FLAC picture blocks, MP4 `covr` atoms, and the
// METADATA_BLOCK_PICTURE comments of Ogg Vorbis and Opus.
std::optional<QByteArray> embeddedCover(const QString &path);

} // namespace AudioTags
