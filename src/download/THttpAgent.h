#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace vantor::download {

// How many pages a gathering keeps on the wire at once: its download slots, one bar each.
inline constexpr std::int32_t kMinSlots = 1;
inline constexpr std::int32_t kMaxSlots = 16;
inline constexpr std::int32_t kDefaultSlots = 4;

// The network settings every page download uses.
struct THttpAgent {
    bool AgentType = false; // true: go through the HTTP proxy below
    std::string Server;
    std::int32_t Port = 0;
    std::string User;
    std::string Password;
    std::string Domain;                 // kept and saved, never used by a download
    std::int64_t ReadTimeOut = 0;       // ms; 0 = no time-out of its own
    std::int64_t ConnectTimeOut = 0;    // ms; 0 = no time-out of its own
    std::int32_t ConnectTime = 0;       // connection attempts per page
    std::int64_t MinInterval = 0;       // ms between two requests to one host; 0 = none
    std::int32_t Slots = kDefaultSlots; // pages on the wire at once, kMinSlots..kMaxSlots

    bool operator==(const THttpAgent&) const = default;
};

// The settings in force when a job starts: a window asks for them at each start, so a change made in
// the settings dialog meanwhile is taken.
using AgentSource = std::function<std::shared_ptr<const THttpAgent>()>;

} // namespace vantor::download

// The record keeps its name where the rest of the program meets it.
namespace vantor {
using download::THttpAgent;
} // namespace vantor
