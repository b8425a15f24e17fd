// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// How well the texts of a window can be read, measured in its picture.

#pragma once

#include <QImage>
#include <QString>

class QQuickItem;

struct Contrast {
    double lowest = 21; // of 1 to 21, as the guidelines for accessible content measure it
    QString text; // that has it
    int texts = 0; // that were measured
};

// Of the enabled texts below an item that are wholly in view, except in what is highlighted: those
// colours are the desktop's own. The picture is one of the window.
Contrast MeasureContrast(QQuickItem* item, const QImage& picture, bool alsoHighlighted);
