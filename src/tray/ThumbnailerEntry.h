#pragma once

#include <QList>
#include <QString>
#include <QStringList>

// One installed desktop thumbnailer (/usr/share/thumbnailers/*.thumbnailer):
// the program GNOME, Xfce and KDE's file managers run to preview a file type.
struct ThumbnailerEntry
{
    QString tryExec;
    QString exec;
    QStringList mimeTypes;

    bool isValid() const { return !exec.isEmpty() && !mimeTypes.isEmpty(); }
    // The command line for one file: %s the size, %u the URI, %i the path,
    // %o the output file, %% a percent sign. Quoting follows desktop entries.
    QStringList command(int size, const QString &uri, const QString &path, const QString &output) const;

    static ThumbnailerEntry parse(const QByteArray &text);
    // Every entry under <dir>/thumbnailers for the given data folders, the
    // first folder winning for a file name, skipping entries whose TryExec
    // is not installed.
    static QList<ThumbnailerEntry> installed(const QStringList &dataDirs);
    // The data folders the desktop looks in: XDG_DATA_HOME, then XDG_DATA_DIRS.
    static QStringList systemDataDirs();
};
