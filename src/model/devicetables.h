#pragma once

#include <QString>

// The small tables that every room shares, keyed by small integers. A key that a table does not
// have gives the empty text.
namespace devicetables {

constexpr int brandCount = 5;

// Key of a record field as an instrument's JSON reply spells it: 0 "CODE" ... 11 "DHCP".
QString fieldKey(int field);

// Caption of a record field on the information page: 1 "Module ID:" ... 11 "DHCP:".
QString fieldLabel(int field);

// 0 "Power Supply Systems", 1 "Beamline", 2 "Current Transducers", 3 "Quorvex Tools": the
// catalogue's `family` texts.
QString familyName(int family);

// OEM brands; 0 is the maker's own and empty.
QString brandName(int brand);

// What stands at the end of a picture's path for the brand of the same key.
QString brandIconSuffix(int brand);

// The key of a brand name, -1 when there is none of that name.
int brandKey(const QString &name);

} // namespace devicetables
