#pragma once

#include "instrument.h"

#include <QTimer>

struct SetDatagram;

// An instrument with the maker's own network interface, on UDP 30719. It answers "Quorvex Dev?" with
// what its kind tells of itself, and takes new network settings from a "Quorvex Set:" datagram with
// its MAC address, which live applyMs later. A 6100 keeps them until it is restarted.
//
// Event "set" with all bytes, via ("broadcast", "unicast"), the interface and the port field.
class QuorvexInstrument : public Instrument
{
    Q_OBJECT

public:
    QuorvexInstrument(const InstrumentSpec &spec, const Workbench &bench, QObject *parent);

    QString receive(const Datagram &datagram) override;

protected:
    const InstrumentTexts &texts() const { return m_texts; }
    void setTexts(const InstrumentTexts &texts) { m_texts = texts; }

private:
    void takeSettings(const Datagram &datagram, const SetDatagram &set);
    QByteArray reply() const;

    InstrumentTexts m_texts;
    NetworkIdentity m_wanted;
    QTimer m_apply;
};
