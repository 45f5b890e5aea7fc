#include "tooloutput.h"

#include <cstring>

void ToolOutput::append(const QByteArray &bytes)
{
    if (m_ended) {
        return;
    }
    const int end = bytes.indexOf('\0');
    m_ended = end >= 0;
    const QByteArray text = m_ended ? bytes.left(end) : bytes;
    const int room = keptBytes - m_kept.size();
    m_kept += text.left(room);
    if (text.size() > room && !m_markBehind) {
        const int markLength = static_cast<int>(std::strlen(updatesMark));
        m_tail = (m_tail.isEmpty() ? m_kept.right(markLength - 1) : m_tail) + text.mid(room);
        m_markBehind = m_tail.contains(updatesMark);
        m_tail = m_tail.right(markLength - 1);
    }
}

QByteArray ToolOutput::data() const
{
    return m_markBehind ? m_kept + updatesMark : m_kept;
}
