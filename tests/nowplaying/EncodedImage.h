#pragma once

#include <QBuffer>
#include <QImage>

// An image as the bytes a player or a music file hands over.
inline QByteArray encoded(const QImage &image, const char *format = "PNG", int quality = -1)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format, quality);
    return bytes;
}

inline QByteArray solidPng(const QColor &color, QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(color);
    return encoded(image);
}
