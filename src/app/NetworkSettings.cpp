#include "NetworkSettings.h"

#include "base/TextNumbers.h"

namespace vantor::app {
namespace {

// The four numbers of the page, each empty when its text is not a decimal integer.
struct FormNumbers {
    std::optional<std::int32_t> port;
    std::optional<std::int32_t> connectTime;
    std::optional<std::int64_t> readTimeOut;
    std::optional<std::int64_t> connectTimeOut;
    std::optional<std::int64_t> minInterval;
    std::optional<std::int32_t> slotCount;

    explicit FormNumbers(const NetworkForm& form)
        : port(parseInt32(form.port)),
          connectTime(parseInt32(form.connectTime)),
          readTimeOut(parseInt64(form.readTimeOut)),
          connectTimeOut(parseInt64(form.connectTimeOut)),
          minInterval(parseInt64(form.minInterval)),
          slotCount(parseInt32(form.slotCount)) {}

    bool timingsValid() const {
        return connectTime && readTimeOut && connectTimeOut && minInterval && *minInterval >= 0 &&
               slotCount && *slotCount >= download::kMinSlots && *slotCount <= download::kMaxSlots;
    }
};

bool serverMissing(const NetworkForm& form) {
    return form.netType == kHttpProxy && form.server.empty();
}

// Only called once every number has been checked.
THttpAgent agentFrom(const NetworkForm& form, const FormNumbers& numbers) {
    THttpAgent agent;
    agent.AgentType = form.netType != kNoProxy;
    agent.Server = form.server;
    agent.Port = *numbers.port;
    agent.User = form.user;
    agent.Password = form.password;
    agent.Domain = form.domain;
    agent.ReadTimeOut = *numbers.readTimeOut;
    agent.ConnectTimeOut = *numbers.connectTimeOut;
    agent.ConnectTime = *numbers.connectTime;
    agent.MinInterval = *numbers.minInterval;
    agent.Slots = *numbers.slotCount;
    return agent;
}

} // namespace

NetworkForm networkForm(const THttpAgent& agent) {
    NetworkForm form;
    form.netType = agent.AgentType ? kHttpProxy : kNoProxy;
    form.server = agent.Server;
    form.port = std::to_string(agent.Port);
    form.user = agent.User;
    form.password = agent.Password;
    form.domain = agent.Domain;
    form.connectTimeOut = std::to_string(agent.ConnectTimeOut);
    form.readTimeOut = std::to_string(agent.ReadTimeOut);
    form.connectTime = std::to_string(agent.ConnectTime);
    form.minInterval = std::to_string(agent.MinInterval);
    form.slotCount = std::to_string(agent.Slots);
    return form;
}

NetworkSaveResult saveNetworkPage(NetworkForm& form, const ConfigFile& file, TConfig& config) {
    if (serverMissing(form)) return {false, kServerMissingOnSave, NetworkField::Server, false};
    FormNumbers numbers(form);
    if (!numbers.port || !numbers.timingsValid()) {
        // Back to the texts the page starts with.
        const NetworkForm initial;
        form.port = initial.port;
        form.readTimeOut = initial.readTimeOut;
        form.connectTimeOut = initial.connectTimeOut;
        form.minInterval = initial.minInterval;
        form.slotCount = initial.slotCount;
        return {false, kNotNumericOnSave, NetworkField::Port, true};
    }
    try {
        file.saveNetwork(agentFrom(form, numbers), config);
    } catch (const std::exception&) {
        return {false, kConfigSaveError, NetworkField::None, false};
    }
    return {true, {}, NetworkField::None, false};
}

int scheduleIndex(const std::string& optimize) {
    auto index = parseInt32(optimize);
    if (!index || *index < int(Optimize::Daily) || *index > int(Optimize::Monthly))
        return int(Optimize::Weekly);
    return *index;
}

std::optional<std::string> saveSchedulePage(int optimizeIndex, const ConfigFile& file) {
    try {
        file.saveSchedule(optimizeIndex);
    } catch (const std::exception&) {
        return kConfigSaveError;
    }
    return std::nullopt;
}

ConnectionTestCheck checkConnectionTest(const NetworkForm& form) {
    if (serverMissing(form)) return {std::nullopt, kServerMissingOnTest, NetworkField::Server};
    FormNumbers numbers(form);
    if (!numbers.port) return {std::nullopt, kPortNotNumericOnTest, NetworkField::None};
    if (!numbers.timingsValid()) return {std::nullopt, kNumbersNotNumericOnTest, NetworkField::None};
    return {agentFrom(form, numbers), {}, NetworkField::None};
}

} // namespace vantor::app
