#pragma once

#include <QRgb>

// The colours of marked cells, those of docs/look.md. A style sheet cannot set them, for it does not know
// what a cell's text means.
namespace markcolours {

constexpr QRgb wrong = 0xFFB3261E;       // red: the frame
constexpr QRgb wrongGround = 0xFFFDF1F0; // blush

constexpr QRgb shared = 0xFFB26A00;       // amber: the frame
constexpr QRgb sharedGround = 0xFFFDF3E3; // cream

} // namespace markcolours
