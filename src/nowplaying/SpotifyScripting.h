#pragma once

#include <functional>
#include <optional>

// Spotify's shuffle and repeat, read and set through whatever remote-control
// channel the player offers. Spotify does not report these two states
// reliably with the rest of what it plays, so the service asks it directly.
// Every answer is delivered once, on the main thread.
class SpotifyScripting
{
public:
    struct Modes
    {
        bool shuffle = false;
        bool repeating = false;
        bool operator==(const Modes &) const = default;
    };
    enum class Access { Granted, NotAsked, Denied, Unavailable };

    virtual ~SpotifyScripting() = default;

    // Nothing when Spotify is not running or does not answer. Never starts it.
    virtual void readModes(std::function<void(std::optional<Modes>)> done) = 0;
    // True when the value was handed to Spotify.
    virtual void setShuffle(bool on, std::function<void(bool)> done) = 0;
    virtual void setRepeat(bool on, std::function<void(bool)> done) = 0;
    virtual void access(bool ask, std::function<void(Access)> done) = 0;
};
