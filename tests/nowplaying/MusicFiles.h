#pragma once

#include "EncodedImage.h"

#include <QColor>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QtEndian>

// A tone of the given length with its tags and cover, as a music file
// ffmpeg writes in the format its name says.
struct Song
{
    QString file; // under the music folder
    QString title;
    QString artist;
    double seconds;
    QColor cover; // invalid: none
    QString album = {};
};

// Empty on success, else ffmpeg's complaint. Ogg covers go in a comment
// (a FLAC picture block in base64), the others are ffmpeg's attached
// picture (APIC, FLAC picture, covr).
inline QString makeSong(const QDir &music, const Song &song)
{
    const QString out = music.filePath(song.file);
    QDir().mkpath(QFileInfo(out).absolutePath());
    const QString suffix = QFileInfo(out).suffix();
    const bool ogg = suffix == QLatin1String("opus") || suffix == QLatin1String("ogg");
    const auto words = [](const char *text) { return QString::fromUtf8(text).split(QLatin1Char(' ')); };
    QStringList args = words("-y -loglevel error -f lavfi -i")
        << QStringLiteral("sine=sample_rate=8000:duration=%1").arg(song.seconds);
    if (song.cover.isValid() && !ogg)
        args << words("-f lavfi -i") << QStringLiteral("color=c=0x%1:s=24x24:d=1,format=rgb24").arg(song.cover.name().mid(1))
             << words("-map 0:a -map 1:v -frames:v 1 -c:v png -disposition:v attached_pic");
    if (song.cover.isValid() && ogg) {
        const auto u32 = [](quint32 v) {
            QByteArray b(4, 0);
            qToBigEndian(v, b.data());
            return b;
        };
        const QByteArray image = solidPng(song.cover, QSize(24, 24));
        const QByteArray block = u32(3) + u32(9) + "image/png" + u32(0) + u32(24) + u32(24) + u32(24) + u32(0)
            + u32(quint32(image.size())) + image;
        args << QStringLiteral("-metadata") << QStringLiteral("METADATA_BLOCK_PICTURE=") + QString::fromLatin1(block.toBase64());
    }
    const QHash<QString, const char *> codec{{QStringLiteral("mp3"), "-c:a libmp3lame -id3v2_version 3"},
        {QStringLiteral("flac"), "-c:a flac"}, {QStringLiteral("m4a"), "-c:a aac"},
        {QStringLiteral("opus"), "-c:a libopus"}, {QStringLiteral("ogg"), "-c:a libvorbis"}};
    args << words(codec.value(suffix));
    args << QStringLiteral("-metadata") << QStringLiteral("title=") + song.title << QStringLiteral("-metadata")
         << QStringLiteral("artist=") + song.artist;
    if (!song.album.isEmpty())
        args << QStringLiteral("-metadata") << QStringLiteral("album=") + song.album;
    QProcess ffmpeg;
    ffmpeg.start(QStringLiteral("ffmpeg"), args << out);
    if (!ffmpeg.waitForStarted())
        return QStringLiteral("ffmpeg is not installed (Debian package ffmpeg)");
    ffmpeg.waitForFinished(60000);
    return ffmpeg.exitCode() == 0 ? QString() : QString::fromUtf8(ffmpeg.readAllStandardError());
}
