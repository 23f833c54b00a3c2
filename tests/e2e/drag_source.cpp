// A window to drag files from, for the end-to-end tests: pressing in it
// starts a real file drag (XDND) carrying the files named on the command line.
// Usage: e2e_drag_source X Y FILE...

#include <QApplication>
#include <QDrag>
#include <QMimeData>
#include <QMouseEvent>
#include <QUrl>
#include <QWidget>

#include <cstdio>

class DragSource : public QWidget
{
public:
    explicit DragSource(QList<QUrl> files)
        : m_files(std::move(files))
    {
        setWindowTitle(QStringLiteral("drag-source"));
        setStyleSheet(QStringLiteral("background: #2a6f4e"));
    }

protected:
    void mousePressEvent(QMouseEvent *) override
    {
        auto *mime = new QMimeData;
        mime->setUrls(m_files);
        auto *drag = new QDrag(this);
        drag->setMimeData(mime);
        const Qt::DropAction done = drag->exec(Qt::CopyAction);
        std::printf("%s\n", done == Qt::CopyAction ? "copied" : "ignored");
        std::fflush(stdout);
    }

private:
    QList<QUrl> m_files;
};

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 4)
        return 2;
    QList<QUrl> files;
    for (qsizetype i = 3; i < args.size(); ++i)
        files.append(QUrl::fromLocalFile(args.at(i)));
    DragSource window(files);
    window.setGeometry(args.at(1).toInt(), args.at(2).toInt(), 160, 120);
    window.show();
    return app.exec();
}
