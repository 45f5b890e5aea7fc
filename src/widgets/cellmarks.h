#pragma once

#include <QColor>
#include <QRect>

class QPainter;

// The colours of marked cells, those of docs/look.md, and how the marks are drawn. A style sheet cannot do
// it: it does not know what a cell's text means, and where it has a rule for cells, a ground that the cell
// brings is not drawn.
namespace cellmarks {

constexpr QRgb wrong = 0xFFB3261E;       // red: the frame
constexpr QRgb wrongGround = 0xFFFDF1F0; // blush

constexpr QRgb shared = 0xFFB26A00;       // amber: the frame
constexpr QRgb sharedGround = 0xFFFDF3E3; // cream

constexpr QRgb focus = 0xFF0B62A8; // blue: the ring around the cell with the keyboard

// Of a cell with a mark; invalid colours for one without.
struct Colours
{
    QColor frame;
    QColor ground;
};

// Draws a frame just inside `cell`, in front of what is there. Gives what is left of the cell inside it.
QRect drawFrame(QPainter *painter, const QRect &cell, const QColor &colour);

} // namespace cellmarks
