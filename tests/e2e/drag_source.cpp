// A window to drag files from, for the end-to-end tests: pressing in it
// starts a real file drag (XDND) carrying the files named on the command line,
// or plain text for an argument "text:WORDS".
// Usage: e2e_drag_source X Y FILE...|text:WORDS

#include <QApplication>
#include <QDrag>
#include <QMimeData>
#include <QUrl>
#include <QWidget>

#include <cstdio>

class DragSource : public QWidget
{
public:
    QList<QUrl> files;
    QString text;

protected:
    void mousePressEvent(QMouseEvent *) override
    {
        auto *mime = new QMimeData;
        if (text.isEmpty())
            mime->setUrls(files);
        else
            mime->setText(text);
        auto *drag = new QDrag(this);
        drag->setMimeData(mime);
        std::printf("%s\n", drag->exec(Qt::CopyAction) == Qt::CopyAction ? "copied" : "ignored");
        std::fflush(stdout);
    }
};

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 4)
        return 2;
    DragSource window;
    for (const QString &arg : args.mid(3)) {
        if (arg.startsWith(QLatin1String("text:")))
            window.text = arg.mid(5);
        else
            window.files.append(QUrl::fromLocalFile(arg));
    }
    window.setWindowTitle(QStringLiteral("drag-source"));
    window.setStyleSheet(QStringLiteral("background: #2a6f4e"));
    window.setGeometry(args.at(1).toInt(), args.at(2).toInt(), 160, 120);
    window.show();
    return app.exec();
}
