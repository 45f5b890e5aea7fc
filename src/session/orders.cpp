#include "orders.h"

#include <array>

namespace {

using R = Refusal;
constexpr std::size_t activityCount = 7;
constexpr std::size_t orderCount = 5;

using Row = std::array<Refusal, activityCount>;

// A scan and a look work on the list of devices, and a scan replaces it; an update and new settings take
// their addresses from it. The columns are the activities in their order: idle, scanning, sending, updating,
// awaiting addresses, awaiting a restart, closing.
constexpr std::array<Row, orderCount> table{{
    // Scan
    {{R::None, R::Scanning, R::Sending, R::Updating, R::None, R::None, R::Closing}},
    // SendSettings
    {{R::None, R::Scanning, R::Sending, R::Updating, R::None, R::None, R::Closing}},
    // Update
    {{R::None, R::Scanning, R::Sending, R::Updating, R::AwaitingAddresses, R::None, R::Closing}},
    // LookAgain
    {{R::None, R::Scanning, R::Sending, R::Updating, R::None, R::None, R::Closing}},
    // Close: a scan is stopped, rows that are being sent are sent to their end
    {{R::None, R::None, R::None, R::Updating, R::None, R::None, R::Closing}},
}};

} // namespace

Refusal refusalOf(Order order, Activity activity)
{
    return table.at(static_cast<std::size_t>(order)).at(static_cast<std::size_t>(activity));
}
