#pragma once

class QWidget;

// Offers to remove what an older release left under the user's home folder, "Quorvex/DeviceManager". Asked at
// every start as long as the folder is there, unless the program runs from it; the answer never stops the
// start.
void checkPreviousInstallation(QWidget *window);
