#pragma once

class QLabel;

// What a text is to the user, as the style sheet knows it: "title", "hint", "error", or null for none.
void setRole(QLabel *label, const char *role);
