#pragma once

#include <QByteArray>

// What the maintenance tool wrote on its standard output, held in bounded memory however much that
// was: the beginning, and the mark of an update list even if that only came later.
class ToolOutput
{
public:
    // What the tool writes when there are newer packages.
    static constexpr const char *updatesMark = "<updates>";
    static constexpr int keptBytes = 1048576;

    void append(const QByteArray &bytes);

    // At most keptBytes and the mark. It contains the mark before its first zero byte exactly when the
    // whole output does.
    QByteArray data() const;

private:
    QByteArray m_kept;
    QByteArray m_tail;         // the last bytes behind the kept ones: the mark may arrive in two pieces
    bool m_markBehind = false; // the mark came behind the kept bytes
    bool m_ended = false;      // a zero byte came: nothing behind it counts
};
