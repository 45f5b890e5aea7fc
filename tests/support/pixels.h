#pragma once

#include <QColor>
#include <QImage>

// Measuring what widgets painted.

// The contrast ratio of two colours as WCAG 2 defines it: 1 (equal) to 21 (black and white).
double contrast(QRgb one, QRgb other);

// True when a pixel of the image has exactly this colour.
bool showsColour(const QImage &image, const QColor &colour);
