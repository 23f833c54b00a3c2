#pragma once

#include <QHash>
#include <QString>
#include <QStringList>

#include <atomic>
#include <optional>
#include <vector>

// The tags of every audio file under one folder, kept so that a cover can be
// found for a track by its title in microseconds instead of opening files.
// A refresh walks the folder and re-reads only files whose modification
// time or size changed; the whole index is saved to and loaded from one
// cache file, so a restart opens none of the unchanged files.
//
// Not thread-safe: one thread owns it (the finder's worker).
class MusicIndex
{
public:
    struct Entry
    {
        QString path;
        qint64 modified = 0; // milliseconds since the epoch
        qint64 size = 0;
        QString title;
        QStringList artists;
        std::optional<double> duration;
        bool hasCover = false;
        bool operator==(const Entry &) const = default;
    };

    // One file that may hold the track, for ranking.
    struct Candidate
    {
        QString path;
        std::optional<double> duration;
        QStringList artists;
        bool operator==(const Candidate &) const = default;
    };

    struct RefreshCounts
    {
        int read = 0; // opened with TagLib: new or changed
        int kept = 0; // unchanged, taken from the index
        int removed = 0; // gone from the folder
    };

    // A file counts as the same recording only this close to the track's length.
    static constexpr double kSameRecording = 2.0;

    explicit MusicIndex(QString root);

    const QString &root() const{ return m_root; }
    qsizetype size() const{ return qsizetype(m_entries.size()); }

    // Walks the folder. `cancel` is checked between files, so quitting does
    // not wait for a large folder.
    RefreshCounts refresh(const std::atomic<bool> *cancel = nullptr);

    bool load(const QString &cacheFile);
    bool save(const QString &cacheFile) const;

    // Files with a cover whose title is `title`, or whose file name is
    // `title` followed by an extension, ignoring case and diacritics.
    std::vector<Candidate> candidates(const QString &title) const;

    // Ranked for trying in order: files by the playing artist first, then by
    // distance from the track's length. With a known length, files further
    // than kSameRecording from it are a different recording and dropped.
    static std::vector<Candidate> ranked(
        std::vector<Candidate> candidates, const std::optional<QString> &artist, std::optional<double> duration);

    // Lower case, compatibility-decomposed and without combining marks:
    // "Señor" and "SENOR" fold to the same text.
    static QString folded(const QString &text);
    // Backslash, double quote and asterisk get a backslash in front, so that
    // a title is matched as itself and never as a pattern.
    static QString escaped(const QString &text);
    // `pattern` over `text`: `*` is any run of characters, `\c` is c itself.
    static bool matches(QStringView pattern, QStringView text);

private:
    void rebuildLookup();
    void lookUp(const std::vector<std::pair<QString, int>> &keys, const QString &pattern, std::vector<int> &out) const;

    QString m_root;
    std::vector<Entry> m_entries;
    // (folded key, entry) sorted by key, for the files that have a cover.
    std::vector<std::pair<QString, int>> m_byTitle;
    std::vector<std::pair<QString, int>> m_byName;
};
