#include "nowplaying/AudioTags.h"

#include <QFile>
#include <QSet>

#include <taglib/aifffile.h>
#include <taglib/attachedpictureframe.h>
#include <taglib/fileref.h>
#include <taglib/flacfile.h>
#include <taglib/flacpicture.h>
#include <taglib/id3v2tag.h>
#include <taglib/mp4coverart.h>
#include <taglib/mp4file.h>
#include <taglib/mp4tag.h>
#include <taglib/mpegfile.h>
#include <taglib/opusfile.h>
#include <taglib/tpropertymap.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>
#include <taglib/xiphcomment.h>

namespace AudioTags {

namespace {

QString toQString(const TagLib::String &s)
{
    return QString::fromStdWString(s.toWString()).trimmed();
}

QByteArray toBytes(const TagLib::ByteVector &v)
{
    return QByteArray(v.data(), int(v.size()));
}

QByteArray fromId3v2(TagLib::ID3v2::Tag *tag)
{
    if (!tag)
        return{};
    const TagLib::ID3v2::FrameList &frames = tag->frameListMap()["APIC"];
    QByteArray first;
    for (TagLib::ID3v2::Frame *frame : frames) {
        auto *picture = dynamic_cast<TagLib::ID3v2::AttachedPictureFrame *>(frame);
        if (!picture || picture->picture().isEmpty())
            continue;
        if (picture->type() == TagLib::ID3v2::AttachedPictureFrame::FrontCover)
            return toBytes(picture->picture());
        if (first.isEmpty())
            first = toBytes(picture->picture());
    }
    return first;
}

QByteArray fromPictures(const TagLib::List<TagLib::FLAC::Picture *> &pictures)
{
    QByteArray first;
    for (TagLib::FLAC::Picture *picture : pictures) {
        if (picture->data().isEmpty())
            continue;
        if (picture->type() == TagLib::FLAC::Picture::FrontCover)
            return toBytes(picture->data());
        if (first.isEmpty())
            first = toBytes(picture->data());
    }
    return first;
}

QByteArray fromMp4(TagLib::MP4::Tag *tag)
{
    if (!tag || !tag->contains("covr"))
        return{};
    const TagLib::MP4::CoverArtList covers = tag->item("covr").toCoverArtList();
    for (const TagLib::MP4::CoverArt &cover : covers) {
        if (!cover.data().isEmpty())
            return toBytes(cover.data());
    }
    return{};
}

QByteArray coverOf(TagLib::File *file)
{
    if (auto *mp3 = dynamic_cast<TagLib::MPEG::File *>(file))
        return fromId3v2(mp3->ID3v2Tag());
    if (auto *flac = dynamic_cast<TagLib::FLAC::File *>(file)) {
        const QByteArray picture = fromPictures(flac->pictureList());
        return picture.isEmpty() ? fromId3v2(flac->ID3v2Tag()) : picture;
    }
    if (auto *mp4 = dynamic_cast<TagLib::MP4::File *>(file))
        return fromMp4(mp4->tag());
    if (auto *vorbis = dynamic_cast<TagLib::Ogg::Vorbis::File *>(file))
        return vorbis->tag() ? fromPictures(vorbis->tag()->pictureList()) : QByteArray();
    if (auto *opus = dynamic_cast<TagLib::Ogg::Opus::File *>(file))
        return opus->tag() ? fromPictures(opus->tag()->pictureList()) : QByteArray();
    if (auto *wav = dynamic_cast<TagLib::RIFF::WAV::File *>(file))
        return fromId3v2(wav->ID3v2Tag());
    if (auto *aiff = dynamic_cast<TagLib::RIFF::AIFF::File *>(file))
        return fromId3v2(aiff->tag());
    return{};
}

} // namespace

bool isAudioFile(const QString &fileName)
{
    static const QSet<QString> extensions {
        QStringLiteral("mp3"),
        QStringLiteral("flac"),
        QStringLiteral("m4a"),
        QStringLiteral("mp4"),
        QStringLiteral("aac"),
        QStringLiteral("alac"),
        QStringLiteral("ogg"),
        QStringLiteral("oga"),
        QStringLiteral("opus"),
        QStringLiteral("wav"),
        QStringLiteral("aif"),
        QStringLiteral("aiff"),
        QStringLiteral("wma"),
        QStringLiteral("ape"),
        QStringLiteral("wv"),
        QStringLiteral("mpc"),
    };
    const qsizetype dot = fileName.lastIndexOf(QLatin1Char('.'));
    return dot > 0 && extensions.contains(fileName.mid(dot + 1).toLower());
}

std::optional<Tags> read(const QString &path)
{
    TagLib::FileRef ref(QFile::encodeName(path).constData(), true, TagLib::AudioProperties::Fast);
    if (ref.isNull())
        return std::nullopt;
    Tags tags;
    const TagLib::PropertyMap properties = ref.file()->properties();
    const auto title = properties.find("TITLE");
    if (title != properties.end() && !title->second.isEmpty())
        tags.title = toQString(title->second.front());
    const auto artists = properties.find("ARTIST");
    if (artists != properties.end()) {
        for (const TagLib::String &artist : artists->second)
            tags.artists.append(toQString(artist));
    }
    if (const TagLib::AudioProperties *audio = ref.audioProperties(); audio && audio->lengthInMilliseconds() > 0)
        tags.duration = audio->lengthInMilliseconds() / 1000.0;
    tags.hasCover = !coverOf(ref.file()).isEmpty();
    return tags;
}

std::optional<QByteArray> embeddedCover(const QString &path)
{
    // Covers are all we want here: skip reading the audio properties.
    TagLib::FileRef ref(QFile::encodeName(path).constData(), false);
    if (ref.isNull())
        return std::nullopt;
    QByteArray cover = coverOf(ref.file());
    return cover.isEmpty() ? std::nullopt : std::optional(cover);
}

} // namespace AudioTags
