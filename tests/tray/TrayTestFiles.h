#pragma once

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QList>
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
        sums.insert(path, file.open(QIODevice::ReadOnly) ? QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256)
                                                         : QByteArray("unreadable"));
    }
    return sums;
}

inline bool writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

// A one-page PDF whose page is drawn by `drawing`, in PDF's own operators;
// small enough for a thumbnailer to open quickly.
inline QByteArray onePagePdf(const QByteArray &drawing, const QByteArray &mediaBox = "0 0 200 200")
{
    const QList<QByteArray> objects{
        "<< /Type /Catalog /Pages 2 0 R >>", "<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
        "<< /Type /Page /Parent 2 0 R /MediaBox [" + mediaBox + "] /Contents 4 0 R >>",
        "<< /Length " + QByteArray::number(drawing.size()) + " >>\nstream\n" + drawing + "\nendstream"};
    QByteArray pdf = "%PDF-1.4\n";
    QList<qsizetype> offsets;
    for (qsizetype i = 0; i < objects.size(); ++i) {
        offsets.append(pdf.size());
        pdf += QByteArray::number(i + 1) + " 0 obj\n" + objects.at(i) + "\nendobj\n";
    }
    const qsizetype xref = pdf.size();
    pdf += "xref\n0 5\n0000000000 65535 f \n";
    for (qsizetype o : offsets)
        pdf += QByteArray::number(o).rightJustified(10, '0') + " 00000 n \n";
    return pdf + "trailer\n<< /Size 5 /Root 1 0 R >>\nstartxref\n" + QByteArray::number(xref) + "\n%%EOF\n";
}
