#pragma once

#include "lineconversation.h"
#include "pacing.h"

#include <QByteArray>
#include <QString>

#include <chrono>
#include <functional>
#include <optional>

// Gives an image to an instrument piece by piece and finds out what the instrument makes of it. Every line
// that it says meanwhile is heard: a refusal ends the sending at once, whenever it comes, while consent
// counts only in a line that began after the last piece had left. Owned by one update procedure, on its
// thread; nothing here is interrupted.
class ImageSender
{
public:
    // By a line, about the image.
    enum class Said { Nothing, Consent, Refusal };

    enum class Outcome {
        Consent,
        Refusal,
        Lost,   // the connection ended, or the instrument takes no more, or too slowly
        Silence // it has all, and says nothing that could be understood
    };

    // What the procedures differ in.
    struct Dialogue
    {
        int pieceBytes;
        std::chrono::milliseconds silence; // behind the last byte that comes after the image
        std::chrono::milliseconds bound;   // however much is said
        std::function<Said(const QByteArray &line)> listen;
        std::function<void()> step; // 95 times over the image
    };

    static constexpr qint64 largestImage = qint64{64} * 1024 * 1024; // bytes of a firmware file

    // The whole file; nothing when it is missing, empty, unreadable, larger than largestImage or no regular
    // file, which could give bytes for ever or none.
    static std::optional<QByteArray> readImage(const QString &path);

    ImageSender(LineConversation &link, const Pacing &pacing, Dialogue dialogue);

    Outcome send(const QByteArray &image);

private:
    bool refused();
    bool takesRefusal();
    Outcome lost();
    Outcome listen();
    void moveTo(qint64 taken, qint64 all);

    LineConversation &m_link;
    std::chrono::milliseconds m_grace;
    int m_slowest; // bytes a second
    Dialogue m_dialogue;
    bool m_begunEarly = false; // the line that is coming in began before the last piece had left
    int m_steps = 0;           // of the progress so far
};
