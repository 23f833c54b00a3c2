#pragma once

#include "musicmode/AlbumPoster.h"

// Shows the album's poster over the wallpaper of every screen, and takes it
// away again.
class PosterDisplay
{
public:
    virtual ~PosterDisplay() = default;
    virtual void present(const AlbumPoster &poster) = 0;
    virtual void hide() = 0;
};
