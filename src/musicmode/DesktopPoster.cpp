#include "musicmode/DesktopPoster.h"

#include "platform/X11Window.h"

#include <QGuiApplication>
#include <QPainter>
#include <QRasterWindow>
#include <QScreen>
#include <QThreadPool>

// One screen's poster.
class PosterWindow final : public QRasterWindow
{
public:
    explicit PosterWindow(QScreen *screen)
    {
        setScreen(screen);
        setFlags(Qt::FramelessWindowHint | Qt::WindowTransparentForInput | Qt::WindowDoesNotAcceptFocus
                 | Qt::WindowStaysOnBottomHint);
        setTitle(QStringLiteral("Tarnwick Poster"));
        setGeometry(screen->geometry());
        create();
        X11Window::setDesktopLayerHints(this);
    }
    void setImage(const QImage &image)
    {
        m_image = image;
        update();
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        // The picture has the screen's own pixel size: drawn 1:1.
        painter.drawImage(QRect(QPoint(0, 0), size()), m_image);
    }

private:
    QImage m_image;
};

std::unique_ptr<DesktopPoster> DesktopPoster::create()
{
    if (!X11Window::isAvailable())
        return nullptr;
    return std::unique_ptr<DesktopPoster>(new DesktopPoster());
}

DesktopPoster::DesktopPoster() = default;

DesktopPoster::~DesktopPoster()
{
    // Renders still running hand their pictures to a generation that is gone.
    ++m_generation;
}

QList<QWindow *> DesktopPoster::windows() const
{
    QList<QWindow *> list;
    for (const auto &w : m_windows)
        list.append(w.get());
    return list;
}

void DesktopPoster::present(const AlbumPoster &poster)
{
    render(poster, ++m_generation);
}

void DesktopPoster::hide()
{
    ++m_generation;
    m_pending = 0;
    m_windows.clear();
}

void DesktopPoster::render(const AlbumPoster &poster, quint64 generation)
{
    const QList<QScreen *> screens = QGuiApplication::screens();
    m_pending = int(screens.size());
    for (QScreen *screen : screens) {
        const QSize pixels = (QSizeF(screen->geometry().size()) * screen->devicePixelRatio()).toSize();
        QPointer<QScreen> where(screen);
        QPointer<DesktopPoster> self(this);
        QThreadPool::globalInstance()->start([self, where, poster, pixels, generation] {
            QImage image = AlbumPoster::image(poster, pixels);
            // Handed over through the application object, which outlives
            // us: the poster itself may be gone by the time this arrives.
            QMetaObject::invokeMethod(qApp, [self, where, image, generation] {
                if (self && where)
                    self->show(where, image, generation);
            }, Qt::QueuedConnection);
        });
    }
}

void DesktopPoster::show(QScreen *screen, const QImage &image, quint64 generation)
{
    if (generation != m_generation)
        return;
    PosterWindow *window = nullptr;
    for (const auto &w : m_windows) {
        if (w->screen() == screen)
            window = w.get();
    }
    if (window == nullptr) {
        m_windows.push_back(std::make_unique<PosterWindow>(screen));
        window = m_windows.back().get();
    }
    window->setGeometry(screen->geometry());
    window->setImage(image);
    window->show();
    if (--m_pending == 0) {
        // Screens that went away since the last poster lose their window.
        const QList<QScreen *> screens = QGuiApplication::screens();
        std::erase_if(m_windows, [&](const auto &w) { return !screens.contains(w->screen()); });
        emit presented();
    }
}
