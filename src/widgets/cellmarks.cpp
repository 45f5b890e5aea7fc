#include "cellmarks.h"

#include <QPainter>

namespace {

constexpr int frameWidth = 2;

} // namespace

QRect cellmarks::drawFrame(QPainter *painter, const QRect &cell, const QColor &colour)
{
    const qreal inset = frameWidth / 2.0;
    painter->save();
    painter->setPen(QPen(colour, frameWidth));
    painter->setBrush(Qt::NoBrush);
    painter->drawRect(QRectF(cell).adjusted(inset, inset, -inset, -inset));
    painter->restore();
    return cell.adjusted(frameWidth, frameWidth, -frameWidth, -frameWidth);
}
