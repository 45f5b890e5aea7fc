#pragma once

#include <functional>

class AppSettings;
class Settings;

// Fills the settings dialog and stores what it changes; `stored` is called behind each change. Setters drop
// what is out of range, so what is in force must be read back from the settings.
void bindSettings(Settings &dialog, AppSettings &settings, const std::function<void()> &stored);
