#pragma once

#include <QByteArray>
#include <QColor>
#include <QImage>
#include <QSize>
#include <QString>

// What a poster shows: the album's cover, its colour and the track's texts.
struct AlbumPoster
{
    QImage cover;
    QColor color;
    QString title;
    QString artist;
    QString album;
    // The cover as it came, when known: a poster fills a whole screen, far
    // larger than the small copy the Nook draws, so it decodes its own.
    QByteArray coverData;
    QByteArray coverHash;

    // The same picture, without comparing pixels: the now-playing service
    // hands out copies of one image while the cover does not change.
    bool hasSameCover(const AlbumPoster &other) const
    {
        if (!coverHash.isEmpty() || !other.coverHash.isEmpty())
            return coverHash == other.coverHash;
        return cover.cacheKey() == other.cover.cacheKey();
    }

    bool operator==(const AlbumPoster &other) const
    {
        return hasSameCover(other) && color == other.color && title == other.title && artist == other.artist
               && album == other.album;
    }

    // The poster for a screen of `pixelSize`: the cover filling the screen
    // (cut to its aspect), darkened towards the album's colour at the bottom,
    // with the texts. Safe to call on any thread.
    static QImage image(const AlbumPoster &poster, const QSize &pixelSize);
};
