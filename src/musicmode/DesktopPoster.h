#pragma once

#include "musicmode/PosterDisplay.h"

#include <QObject>
#include <QPointer>
#include <memory>
#include <vector>

class QScreen;
class PosterWindow;

// The album poster on the desktop: one window per screen at the desktop's
// own layer, above the wallpaper and below every other window, on every
// virtual desktop, letting every click through to the desktop. Each screen's
// picture is drawn at its pixel size on a worker thread; the windows show up
// once their pictures are ready.
class DesktopPoster final : public QObject, public PosterDisplay
{
    Q_OBJECT
public:
    // Nothing where the desktop cannot host such windows (no X11 display).
    static std::unique_ptr<DesktopPoster> create();
    ~DesktopPoster() override;

    void present(const AlbumPoster &poster) override;
    void hide() override;

    // The windows now shown, one per screen (for tests).
    QList<QWindow *> windows() const;

Q_SIGNALS:
    // Every screen shows the poster asked for last.
    void presented();

private:
    DesktopPoster();
    void render(const AlbumPoster &poster, quint64 generation);
    void show(QScreen *screen, const QImage &image, quint64 generation);

    std::vector<std::unique_ptr<PosterWindow>> m_windows;
    quint64 m_generation = 0;
    int m_pending = 0;
};
