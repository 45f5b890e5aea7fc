#pragma once

#include "scriptedpeer.h"

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QVector>

// What a peer hears and says, as text: steps with two spaces between them.
//
//   >MST\r\n     hears this next, and nothing before it
//   >2000        hears so many further bytes of the image that is sent; >image: all that are left
//   >some        may hear more of the image after its last step, but not all of it
//   >any         may hear anything after its last step
//   <#ACK\r\n    says this; \r, \n and \xHH stand for single bytes
//   ~20 text     says this every 20 ms until the connection ends, for 4 s at most; ~0: without a pause
//   .100         waits 100 ms
//   !close, !reset
//   !stop        calls what the script was given for it
class Dialogue
{
public:
    explicit Dialogue(const QByteArray &steps, const QByteArray &image = {});

    ScriptedPeer::Script script(const std::function<void()> &stop = {}) const;

    // Is this what the peer was to hear, to the last byte?
    bool isHeard(const QByteArray &received) const;

private:
    struct Step
    {
        char kind;
        QByteArray bytes; // to hear or to say
        int number;       // milliseconds
    };
    static void play(const Step &step, ScriptedPeer::Connection &connection);

    QVector<Step> m_steps;
    QByteArray m_heard;
    QByteArray m_more; // some of this may follow
    bool m_anyMore = false;
};

// A line of a file of dialogues: "name | steps | the last line of the log", under the [section] that it
// stands in. A line "word = steps" names steps for the lines below it, where "20*word" is twenty times
// the same; # begins a remark.
struct DialogueRow
{
    QByteArray section;
    QByteArray name;
    QByteArray steps;
    QString log;
};

// Of tests/dialogues, with words that are too long for a file. The test fails when there are none.
QVector<DialogueRow> dialoguesIn(const char *fileName, QHash<QByteArray, QByteArray> words = {});
