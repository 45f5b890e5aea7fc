#include "replyencoder.h"

#include <QStringList>
#include <QtEndian>

namespace {

constexpr char unusedByte = '\xA5';

void put(QByteArray &reply, int offset, const QByteArray &bytes)
{
    reply.replace(offset, bytes.size(), bytes);
}

void putNumber(QByteArray &reply, int offset, quint32 number)
{
    qToBigEndian(number, reply.data() + offset);
}

QByteArray encodeHead(const NetworkIdentity &identity)
{
    QByteArray reply(binaryReplySize, '\0');
    put(reply, 0, QByteArrayLiteral("Quorvex Dev:"));
    put(reply, 12, QByteArray::fromHex(identity.code.toLatin1()));
    put(reply, 14, identity.mac);
    putNumber(reply, 20, identity.ip);
    putNumber(reply, 24, identity.netmask);
    putNumber(reply, 28, identity.gateway);
    put(reply, 32, QByteArray(12, unusedByte));
    return reply;
}

} // namespace

QByteArray textBlock(const NetworkIdentity &identity, const PowerSupplyTexts &texts)
{
    const QStringList lines{texts.firmware,
                            texts.serial,
                            texts.module,
                            texts.note,
                            identity.dhcp ? QStringLiteral("1") : QStringLiteral("0"),
                            texts.site};
    return (QStringList(lines.mid(0, texts.parts)).join(QStringLiteral("\r\n")) + QStringLiteral("\r\n"))
        .toUtf8();
}

QByteArray encodeReply(const NetworkIdentity &identity, const PowerSupplyTexts &texts)
{
    QByteArray reply = encodeHead(identity);
    put(reply, 44, textBlock(identity, texts).left(textBlockSize - 1));
    return reply;
}

QByteArray encodeReply(const NetworkIdentity &identity, const BeamlineTexts &texts)
{
    QByteArray reply = encodeHead(identity);
    put(reply, 36, texts.module);
    put(reply, 44, texts.firmware);
    putNumber(reply, 48, texts.serial);
    put(reply, 52, QByteArray(16, unusedByte));
    return reply;
}

QByteArray encodeReply(const NetworkIdentity &identity, const TransducerTexts &texts)
{
    QByteArray reply = encodeHead(identity);
    put(reply, 44, texts.firmware);
    put(reply, 48, texts.serial);
    put(reply, 52, texts.module.toUtf8().left(textSize - 1));
    return reply;
}
