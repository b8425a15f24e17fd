// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "demo/window/contrast.h"

#include <QColor>
#include <QHash>
#include <QQuickItem>
#include <algorithm>
#include <cmath>

namespace
{

double Linear(int channel)
{
    const double share = channel / 255.0;
    return share <= 0.04045 ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4);
}

double Luminance(QRgb colour)
{
    return 0.2126 * Linear(qRed(colour)) + 0.7152 * Linear(qGreen(colour))
        + 0.0722 * Linear(qBlue(colour));
}

double Ratio(QRgb one, QRgb other)
{
    const double a = Luminance(one), b = Luminance(other);
    return (std::max(a, b) + 0.05) / (std::min(a, b) + 0.05);
}

// The commonest colour is the ground; letters have the one that differs most from it.
double ContrastIn(const QImage& picture, const QRect& place)
{
    QHash<QRgb, int> counts;
    for (int y = place.top(); y <= place.bottom(); ++y)
        for (int x = place.left(); x <= place.right(); ++x)
            ++counts[picture.pixel(x, y)];
    QRgb ground = 0;
    int most = 0;
    for (auto colour = counts.cbegin(); colour != counts.cend(); ++colour)
        if (colour.value() > most) {
            most = colour.value();
            ground = colour.key();
        }
    double highest = 1;
    for (auto colour = counts.cbegin(); colour != counts.cend(); ++colour)
        highest = std::max(highest, Ratio(ground, colour.key()));
    return highest;
}

bool IsWhollyShown(const QQuickItem* item, const QRectF& place)
{
    for (const QQuickItem* above = item->parentItem(); above; above = above->parentItem())
        if (above->clip() && !above->mapRectToScene(above->boundingRect()).contains(place))
            return false;
    return true;
}

void Look(QQuickItem* item, const QImage& picture, bool alsoHighlighted, Contrast& found)
{
    const bool isHighlighted = item->property("highlighted").toBool();
    if (!item->isVisible() || !item->isEnabled() || (isHighlighted && !alsoHighlighted))
        return;
    const QString text = item->property("text").toString();
    if (item->inherits("QQuickText") && !text.trimmed().isEmpty() && item->width() >= 1) {
        const QRectF place = item->mapRectToScene(item->boundingRect());
        const QRect pixels = place.toAlignedRect();
        if (IsWhollyShown(item, place) && picture.rect().contains(pixels)) {
            const double contrast = ContrastIn(picture, pixels);
            ++found.texts;
            if (contrast < found.lowest) {
                found.lowest = contrast;
                found.text = text;
            }
        }
    }
    for (QQuickItem* const child : item->childItems())
        Look(child, picture, alsoHighlighted, found);
}

} // namespace

Contrast MeasureContrast(QQuickItem* item, const QImage& picture, bool alsoHighlighted)
{
    Contrast found;
    Look(item, picture, alsoHighlighted, found);
    return found;
}
