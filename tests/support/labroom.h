#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QString>

class LabProcess;

// Names and short hands for tests that play with the lab's wire.
namespace labroom {

constexpr quint16 discoveryPort = 30719;
constexpr quint16 modulePort = 30718;

// "Quorvex Dev?"
QByteArray discoveryQuery();

// The workstation's addresses on the two cables, and the limited broadcast.
QString onCable0();
QString onCable1();
QString everyone();

QByteArray hex(const char *digits);

// An object from its JSON text.
QJsonObject object(const char *json);

// A scenario with these instruments.
QJsonObject scenarioOf(const QList<QJsonObject> &instruments);

// Starts the lab with these instruments. The test fails when it does not start.
void play(LabProcess &lab, const QList<QJsonObject> &instruments);

// A healthy beamline instrument, and a module with a ROVAN-MOTOR behind it.
QJsonObject plain(const char *mac, const char *ip, const char *cable = "lab0");
QJsonObject module(const char *mac, const char *ip);

// `instrument` with one more key.
QJsonObject with(QJsonObject instrument, const char *key, const QJsonValue &value);

// A text field of an event.
QString field(const QJsonObject &event, const char *key);

} // namespace labroom
