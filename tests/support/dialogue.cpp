#include "dialogue.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QTest>

namespace {

constexpr int longestTalkMs = 4000;
constexpr int flood = 50000; // bytes that are said at once

QByteArray unescaped(const QByteArray &text)
{
    QByteArray bytes;
    for (int i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            bytes += text[i];
        } else if (text[++i] == 'x') {
            bytes += QByteArray::fromHex(text.mid(i + 1, 2));
            i += 2;
        } else {
            bytes += text[i] == 'r' ? '\r' : '\n';
        }
    }
    return bytes;
}

QList<QByteArray> splitSteps(const QByteArray &steps)
{
    QList<QByteArray> parts;
    for (int at = 0, end = 0; end >= 0; at = end + 2) {
        end = steps.indexOf("  ", at);
        const QByteArray part = end < 0 ? steps.mid(at) : steps.mid(at, end - at);
        if (!part.trimmed().isEmpty()) {
            parts += part.trimmed();
        }
    }
    return parts;
}

} // namespace

Dialogue::Dialogue(const QByteArray &steps, const QByteArray &image)
{
    int taken = 0; // of the image
    for (const QByteArray &part : splitSteps(steps)) {
        QByteArray rest = part.mid(1);
        const int number = rest.split(' ').first().toInt();
        if (part == ">some") {
            m_more = image.mid(taken);
            continue;
        }
        if (part == ">any") {
            m_anyMore = true;
            continue;
        }
        if (part[0] == '>' && (number > 0 || rest == "image")) {
            rest = image.mid(taken, number > 0 ? number : -1);
            taken += rest.size();
        } else {
            rest = unescaped(part[0] == '~' ? rest.mid(rest.indexOf(' ') + 1) : rest);
        }
        m_steps.append({part[0], rest, number});
        m_heard += part[0] == '>' ? rest : QByteArray();
    }
}

ScriptedPeer::Script Dialogue::script(const std::function<void()> &stop) const
{
    return [steps = m_steps, stop](ScriptedPeer::Connection &connection) {
        for (const Step &step : steps) {
            step.kind == '!' && step.bytes == "stop" ? stop() : play(step, connection);
        }
    };
}

bool Dialogue::isHeard(const QByteArray &received) const
{
    const QByteArray more = received.mid(m_heard.size());
    return received.startsWith(m_heard) &&
           (more.isEmpty() || m_anyMore || (more.size() < m_more.size() && m_more.startsWith(more)));
}

void Dialogue::play(const Step &step, ScriptedPeer::Connection &connection)
{
    const QDeadlineTimer talk(longestTalkMs);
    switch (step.kind) {
    case '>':
        connection.read(step.bytes.size());
        break;
    case '<':
        connection.send(step.bytes);
        break;
    case '~':
        while (connection.isOpen() && !talk.hasExpired()) {
            connection.send(step.number > 0 ? step.bytes : step.bytes.repeated(flood / step.bytes.size()));
            connection.wait(step.number);
        }
        break;
    case '.':
        connection.wait(step.number);
        break;
    default:
        step.bytes == "reset" ? connection.reset() : connection.close();
    }
}

QVector<DialogueRow> dialoguesIn(const char *fileName, QHash<QByteArray, QByteArray> words)
{
    QVector<DialogueRow> rows;
    QByteArray section;
    QFile file(QStringLiteral(DIALOGUES "/") + QLatin1String(fileName));
    file.open(QIODevice::ReadOnly);
    const auto expanded = [&words](const QByteArray &steps) {
        QList<QByteArray> parts = splitSteps(steps);
        for (QByteArray &part : parts) {
            const int star = part.indexOf('*');
            const QByteArray word = words.value(part.mid(star + 1), part);
            part = (word + "  ").repeated(qMax(1, part.left(star).toInt()));
        }
        return parts.join("  ");
    };
    for (const QByteArray &line : file.readAll().split('\n')) {
        const QList<QByteArray> fields = line.split('|');
        const int equals = line.indexOf(" = ");
        if (line.startsWith('[')) {
            section = line.mid(1, line.size() - 2);
        } else if (fields.size() == 3) {
            rows.append({section, fields[0].trimmed(), expanded(fields[1]),
                         QString::fromLatin1(fields[2].trimmed())});
        } else if (equals > 0 && !line.startsWith('#')) {
            words.insert(line.left(equals).trimmed(), expanded(line.mid(equals + 3)));
        }
    }
    [&] { QVERIFY2(!rows.isEmpty(), fileName); }();
    return rows;
}
