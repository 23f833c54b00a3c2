#pragma once

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QMap>

// Fingerprints of every file under a folder, to prove the tray left them
// exactly as they were.
inline QMap<QString, QByteArray> checksumsUnder(const QString &root)
{
    QMap<QString, QByteArray> sums;
    QDirIterator it(root, QDir::Files | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        QFile file(path);
        if (file.open(QIODevice::ReadOnly))
            sums.insert(path, QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256));
        else
            sums.insert(path, QByteArray("unreadable"));
    }
    return sums;
}

inline bool writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}
