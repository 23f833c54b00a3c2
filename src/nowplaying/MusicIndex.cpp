#include "nowplaying/MusicIndex.h"

#include "nowplaying/AudioTags.h"

#include <QDataStream>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

// Bumped whenever Entry or the way it is read changes: an old cache is then
// rebuilt rather than misread.
constexpr quint32 kMagic = 0x54574d49; // "TWMI"
constexpr quint32 kVersion = 1;

QString literalPrefix(QStringView pattern)
{
    QString prefix;
    for (qsizetype i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == QLatin1Char('*'))
            break;
        if (pattern[i] == QLatin1Char('\\') && i + 1 < pattern.size())
            ++i;
        prefix.append(pattern[i]);
    }
    return prefix;
}

} // namespace

MusicIndex::MusicIndex(QString root)
    : m_root(std::move(root))
{
}

QString MusicIndex::folded(const QString &text)
{
    const QString decomposed = text.normalized(QString::NormalizationForm_KD);
    QString out;
    out.reserve(decomposed.size());
    for (const QChar c : decomposed) {
        if (c.category() != QChar::Mark_NonSpacing)
            out.append(c);
    }
    return out.toCaseFolded();
}

QString MusicIndex::escaped(const QString &text)
{
    QString out;
    out.reserve(text.size() + 4);
    for (const QChar c : text) {
        if (c == QLatin1Char('\\') || c == QLatin1Char('"') || c == QLatin1Char('*'))
            out.append(QLatin1Char('\\'));
        out.append(c);
    }
    return out;
}

bool MusicIndex::matches(QStringView pattern, QStringView text)
{
    // Iterative glob with one backtrack point: the last star seen.
    qsizetype p = 0, t = 0, star = -1, resume = 0;
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p] == QLatin1Char('*')) {
            star = p++;
            resume = t;
            continue;
        }
        if (p < pattern.size()) {
            const bool escape = pattern[p] == QLatin1Char('\\') && p + 1 < pattern.size();
            const QChar want = escape ? pattern[p + 1] : pattern[p];
            if (want == text[t]) {
                p += escape ? 2 : 1;
                ++t;
                continue;
            }
        }
        if (star < 0)
            return false;
        p = star + 1;
        t = ++resume;
    }
    while (p < pattern.size() && pattern[p] == QLatin1Char('*'))
        ++p;
    return p == pattern.size();
}

MusicIndex::RefreshCounts MusicIndex::refresh(const std::atomic<bool> *cancel)
{
    QHash<QString, int> previous;
    previous.reserve(qsizetype(m_entries.size()));
    for (int i = 0; i < int(m_entries.size()); ++i)
        previous.insert(m_entries[size_t(i)].path, i);

    RefreshCounts counts;
    int changed = 0;
    std::vector<Entry> fresh;
    fresh.reserve(m_entries.size());
    // Hidden folders are skipped (QDir's default), and links are not
    // followed, so a link back up the tree cannot loop.
    QDirIterator it(m_root, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        if (cancel && cancel->load(std::memory_order_relaxed))
            return counts;
        it.next();
        if (!AudioTags::isAudioFile(it.fileName()))
            continue;
        const QFileInfo info = it.fileInfo();
        const qint64 modified = info.lastModified().toMSecsSinceEpoch();
        const qint64 size = info.size();
        const QString path = it.filePath();
        const auto known = previous.constFind(path);
        if (known != previous.constEnd()) {
            const Entry &old = m_entries[size_t(*known)];
            if (old.modified == modified && old.size == size) {
                fresh.push_back(old);
                ++counts.kept;
                continue;
            }
            ++changed;
        }
        // A file TagLib cannot read stays in the index without tags, so it
        // is not opened again until it changes.
        Entry entry{path, modified, size, {}, {}, {}, false};
        if (const auto tags = AudioTags::read(path)) {
            entry.title = tags->title;
            entry.artists = tags->artists;
            entry.duration = tags->duration;
            entry.hasCover = tags->hasCover;
        }
        fresh.push_back(std::move(entry));
        ++counts.read;
    }
    counts.removed = int(m_entries.size()) - counts.kept - changed;
    m_entries = std::move(fresh);
    rebuildLookup();
    return counts;
}

void MusicIndex::rebuildLookup()
{
    m_byTitle.clear();
    m_byName.clear();
    for (int i = 0; i < int(m_entries.size()); ++i) {
        const Entry &entry = m_entries[size_t(i)];
        if (!entry.hasCover)
            continue;
        if (!entry.title.isEmpty())
            m_byTitle.emplace_back(folded(entry.title), i);
        m_byName.emplace_back(folded(QFileInfo(entry.path).fileName()), i);
    }
    std::sort(m_byTitle.begin(), m_byTitle.end());
    std::sort(m_byName.begin(), m_byName.end());
}

void MusicIndex::lookUp(
    const std::vector<std::pair<QString, int>> &keys, const QString &pattern, std::vector<int> &out) const
{
    // Only keys that start with the pattern's literal head can match, and
    // they sit together in the sorted list.
    const QString prefix = literalPrefix(pattern);
    auto it = std::lower_bound(keys.begin(), keys.end(), prefix,
        [](const std::pair<QString, int> &key, const QString &p) { return key.first < p; });
    for (; it != keys.end() && it->first.startsWith(prefix); ++it) {
        if (matches(pattern, it->first) && std::find(out.begin(), out.end(), it->second) == out.end())
            out.push_back(it->second);
    }
}

std::vector<MusicIndex::Candidate> MusicIndex::candidates(const QString &title) const
{
    // Escaped after folding: folding can turn a full-width asterisk into a
    // plain one, which must still mean itself.
    const QString pattern = escaped(folded(title));
    std::vector<int> found;
    lookUp(m_byTitle, pattern, found);
    lookUp(m_byName, pattern + QStringLiteral(".*"), found);
    std::sort(found.begin(), found.end()); // the folder's order, whichever key matched
    std::vector<Candidate> out;
    out.reserve(found.size());
    for (int i : found) {
        const Entry &entry = m_entries[size_t(i)];
        out.push_back({entry.path, entry.duration, entry.artists});
    }
    return out;
}

std::vector<MusicIndex::Candidate> MusicIndex::ranked(
    std::vector<Candidate> candidates, const std::optional<QString> &artist, std::optional<double> duration)
{
    constexpr double kFar = std::numeric_limits<double>::infinity();
    const auto distance
        = [&duration](const Candidate &c) { return duration && c.duration ? std::abs(*c.duration - *duration) : kFar; };
    if (duration) {
        std::erase_if(candidates, [&](const Candidate &c) { return !(distance(c) <= kSameRecording); });
    }
    const QString wanted = artist ? folded(*artist) : QString();
    // The helper joins several artists with ", ", so the whole list may be
    // what matches.
    const auto byArtist = [&wanted](const Candidate &c) {
        if (wanted.isEmpty())
            return false;
        QStringList authors;
        for (const QString &a : c.artists)
            authors.append(folded(a));
        return authors.contains(wanted) || authors.join(QStringLiteral(", ")) == wanted;
    };
    std::stable_sort(candidates.begin(), candidates.end(), [&](const Candidate &a, const Candidate &b) {
        const bool aArtist = byArtist(a), bArtist = byArtist(b);
        if (aArtist != bArtist)
            return aArtist;
        return distance(a) < distance(b);
    });
    return candidates;
}

bool MusicIndex::load(const QString &cacheFile)
{
    QFile file(cacheFile);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    QDataStream in(&file);
    in.setVersion(QDataStream::Qt_6_4);
    quint32 magic = 0, version = 0;
    QString root;
    qint64 count = 0;
    in >> magic >> version >> root >> count;
    if (magic != kMagic || version != kVersion || root != m_root || count < 0 || in.status() != QDataStream::Ok)
        return false;
    std::vector<Entry> entries;
    entries.reserve(size_t(std::min<qint64>(count, 1 << 20)));
    for (qint64 i = 0; i < count && in.status() == QDataStream::Ok; ++i) {
        Entry e;
        double duration = -1;
        in >> e.path >> e.modified >> e.size >> e.title >> e.artists >> duration >> e.hasCover;
        if (duration >= 0)
            e.duration = duration;
        entries.push_back(std::move(e));
    }
    if (in.status() != QDataStream::Ok)
        return false;
    m_entries = std::move(entries);
    rebuildLookup();
    return true;
}

bool MusicIndex::save(const QString &cacheFile) const
{
    QDir().mkpath(QFileInfo(cacheFile).absolutePath());
    QSaveFile file(cacheFile);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    QDataStream out(&file);
    out.setVersion(QDataStream::Qt_6_4);
    out << kMagic << kVersion << m_root << qint64(m_entries.size());
    for (const Entry &e : m_entries)
        out << e.path << e.modified << e.size << e.title << e.artists << e.duration.value_or(-1.0) << e.hasCover;
    return file.commit();
}
