#pragma once

class EventLog;
class XportModule;
struct ModuleSpec;

// Gives a module what its scenario says is behind it: an instrument on its serial line and the TCP
// services that lead to it. Other kinds of instrument behind a module are chosen here.
void equipModule(XportModule &module, const ModuleSpec &spec, EventLog &log);
