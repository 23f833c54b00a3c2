#pragma once

#include <QSize>
#include <QStringList>
#include <optional>

// Apple laptops with a camera notch, running Asahi Linux. The notch rows of
// the panel are only shown with apple_dcp.show_notch=1: then the built-in
// panel reports its full, taller pixel size, and the housing sits in the
// middle of its top rows.
namespace AsahiNotchTable {

struct Housing
{
    int widthPixels = 0;
    int heightPixels = 0;
};

// `compatible` is the machine's device-tree compatible list
// (/proc/device-tree/compatible); `panelPixels` the screen's size in device
// pixels. A housing only when the model has a notch and the panel shows its
// notch rows.
std::optional<Housing> housing(const QStringList &compatible, QSize panelPixels);

// Parses the NUL-separated compatible file.
QStringList parseCompatible(const QByteArray &contents);

} // namespace AsahiNotchTable
