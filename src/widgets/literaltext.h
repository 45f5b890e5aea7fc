#pragma once

#include <QString>

// A tool tip or message that shows `text` as it stands: what came from the network is never markup.
QString literalText(const QString &text);
