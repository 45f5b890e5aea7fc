#pragma once

class QMenuBar;

// Opens each menu with Alt and the first letter of its title. The titles themselves hold no marker for
// the letter, because they are compared as they stand.
void addMenuKeys(QMenuBar *bar);
