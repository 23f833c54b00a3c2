#pragma once

#include "notch/NookPage.h"

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

// Layout rules of the open Nook that the views read.
class NookLayout : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    using QObject::QObject;

    // A page fades with its distance from the centre: a neighbour is already
    // invisible 1/1.4 of a page away and fades in as it is dragged closer.
    Q_INVOKABLE static double pageOpacity(double pageWidth, int pageIndex, int visibleIndex, double dragOffset);
    // The page dot's tooltip and accessible name.
    Q_INVOKABLE static QString pageTitle(NookPage page);
    Q_INVOKABLE static QString pageDotHelp(NookPage page, bool isCurrent);
};
