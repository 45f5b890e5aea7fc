#pragma once

#include <QtGlobal>

// The TCP ports of the module (XPort) in front of a motor driver.
struct XPortPorts
{
    quint16 setup = 9999;   // text menu of the module
    quint16 tunnel = 10001; // serial line to the DSPs
    quint16 gpio = 30704;   // configurable pins CP1 to CP3
};
