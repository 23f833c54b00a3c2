// libFuzzer target: whatever the helper writes, the line reader must neither
// crash nor hand out a track without a title.

#include "nowplaying/NowPlayingLineReader.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    NowPlayingLineReader reader([](const std::optional<NowPlayingTrack> &track) {
        if (track && track->title.isEmpty())
            std::abort();
        if (track)
            (void)track->elapsedAt(QDateTime::fromMSecsSinceEpoch(0, Qt::UTC));
    });
    // The first byte picks how the rest arrives: in one piece or in chunks,
    // as a pipe may cut it.
    const size_t chunk = 1 + data[0] % 17;
    const auto *bytes = reinterpret_cast<const char *>(data + 1);
    const size_t length = size - 1;
    for (size_t i = 0; i < length; i += chunk)
        reader.feed(QByteArrayView(bytes + i, qsizetype(std::min(chunk, length - i))));
    reader.finish();
    return 0;
}
