// A window to drag files from, for the end-to-end tests: pressing in it
// starts a real file drag (XDND) carrying the files named on the command line,
// or plain text for an argument "text:WORDS".
// Usage: e2e_drag_source X Y FILE...|text:WORDS

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
    DragSource(QList<QUrl> files, QString text)
        : m_files(std::move(files))
        , m_text(std::move(text))
    {
        setWindowTitle(QStringLiteral("drag-source"));
        setStyleSheet(QStringLiteral("background: #2a6f4e"));
    }

protected:
    void mousePressEvent(QMouseEvent *) override
    {
        auto *mime = new QMimeData;
        if (m_text.isEmpty())
            mime->setUrls(m_files);
        else
            mime->setText(m_text);
        auto *drag = new QDrag(this);
        drag->setMimeData(mime);
        const Qt::DropAction done = drag->exec(Qt::CopyAction);
        std::printf("%s\n", done == Qt::CopyAction ? "copied" : "ignored");
        std::fflush(stdout);
    }

private:
    QList<QUrl> m_files;
    QString m_text;
};

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 4)
        return 2;
    QList<QUrl> files;
    QString text;
    for (qsizetype i = 3; i < args.size(); ++i) {
        if (args.at(i).startsWith(QLatin1String("text:")))
            text = args.at(i).mid(5);
        else
            files.append(QUrl::fromLocalFile(args.at(i)));
    }
    DragSource window(files, text);
    window.setGeometry(args.at(1).toInt(), args.at(2).toInt(), 160, 120);
    window.show();
    return app.exec();
}
