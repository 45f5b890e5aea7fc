#pragma once

#include <QByteArray>
#include <QRandomGenerator>
#include <QVector>

class JsonReader;

// How an instrument spoils its answers; nothing is spoiled unless the scenario asks for it.
struct Faults
{
    int dropFirst = 0; // this many queries stay unanswered
    int dropEvery = 0; // every nth query stays unanswered; 0: none
    int delayMs = 0;
    int copies = 1;

    bool invalidJson = false; // the object breaks off (JSON replies only)
    bool jsonArray = false;   // the object stands in an array (JSON replies only)
    QByteArray wrongPrefix;   // replaces the reply's first bytes
    int embeddedNul = -1;     // offset of a byte that becomes NUL
    int oversize = 0;         // filled up to this many bytes
    int truncate = -1;        // cut to this many bytes
    int garbageBytes = 0;     // size of each random datagram
    int garbageCount = 1;     // how many of them come before each reply
    bool garbageOnly = false; // and no reply after them
};

// Reads a scenario's "faults" object. Only instruments that answer in JSON can break their JSON.
Faults readFaults(JsonReader &reader, bool isJson);

// True when query number `count`, counted from 1, stays without an answer.
bool isDropped(const Faults &faults, int count);

// The datagrams that leave the instrument instead of `reply`, in order. The random bytes come from
// `random` alone, so the same seed gives the same bytes.
QVector<QByteArray> spoil(const QByteArray &reply, const Faults &faults, QRandomGenerator &random);
