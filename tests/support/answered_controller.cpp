// SPDX-License-Identifier: GPL-3.0-or-later
#include "answered_controller.h"

#include <algorithm>

#include "bmc/request_limit.h"

namespace zel::test {
namespace {

constexpr std::uint8_t kGetSdr = 0x23, kGetFactors = 0x23, kSetThresholds = 0x26, kGetThresholds = 0x27;
constexpr std::uint8_t kGetDeviceId = 0x01, kUnknownCommand = 0xc1, kUnknownSensor = 0xcb;

/// A part of a record, behind the next record's number; records are numbered as they stand. Empty for others.
std::vector<std::uint8_t> record_part(const std::vector<simulator::Sensor>& sensors, Bytes request) {
    const std::size_t id = request[2] + request[3] * 256U;
    const auto next = static_cast<std::uint8_t>(id + 1 < sensors.size() ? id + 1 : 0xff);
    if (id >= sensors.size()) return {};
    std::vector<std::uint8_t> part{next, static_cast<std::uint8_t>(next == 0xff ? 0xff : 0)};
    const auto record = simulator::record_of(sensors.at(id));
    const std::size_t from = std::min<std::size_t>(request[4], record.size());
    const auto piece = Bytes(record).subspan(from, std::min<std::size_t>(request[5], record.size() - from));
    part.insert(part.end(), piece.begin(), piece.end());
    return part;
}

}  // namespace

AnswerRequest answer_request = [](bmc::NetFn, std::uint8_t, Bytes) { return std::nullopt; };
std::string answered_target = "test";
std::function<void()> on_pause;

std::optional<bmc::Reply> PlayedController::operator()(bmc::NetFn netfn, std::uint8_t command, Bytes data) {
    commands.push_back(command);
    if (const auto refused = refuse.find(command); refused != refuse.end())
        return bmc::Reply{refused->second, {}};
    if (netfn == bmc::kStorage && command == kGetSdr) return bmc::Reply{0, record_part(sensors, data)};
    std::vector<std::uint8_t> answer(14);
    if (netfn == bmc::kApp && command != kGetDeviceId)
        return guid.empty() ? bmc::Reply{kUnknownCommand, {}} : bmc::Reply{0, guid};
    answer[5] = repository;
    if (netfn != bmc::kSensorEvent) return bmc::Reply{0, answer};
    const auto sensor = std::ranges::find(sensors, data[0], &simulator::Sensor::number);
    if (sensor == sensors.end()) return bmc::Reply{kUnknownSensor, {}};
    // A code stands for as much and one more.
    if (command == kGetFactors) return bmc::Reply{0, {0, 1, 0, 1, 0, 0, 0}};
    if (command != kSetThresholds && command != kGetThresholds) return bmc::Reply{kUnknownCommand, {}};
    answer = {sensor->live_thresholds};
    for (std::size_t i = 0; i < sensor->codes.size(); ++i) {
        if (command == kSetThresholds && (data[1] >> i & 1) != 0) sensor->codes.at(i) = data[i + 2];
        answer.push_back(static_cast<std::uint8_t>(sensor->codes.at(i)));
    }
    return bmc::Reply{0, answer};
}

AnswerRequest controller_with(std::vector<simulator::Sensor> sensors) {
    return PlayedController{.sensors = std::move(sensors)};
}

}  // namespace zel::test

namespace zel::bmc {

Controller::Controller() = default;
Controller::Controller(Settings fixed) : fixed_(std::move(fixed)) {}
Controller::~Controller() = default;
void Controller::Close::operator()(ipmi_ctx* /*context*/) const {}
void Controller::end_session() {}

std::string Controller::target() {
    return test::answered_target;
}

std::optional<Reply> Controller::request(std::uint8_t /*lun*/, NetFn netfn, std::uint8_t command,
                                         std::span<const std::uint8_t> data, Repeat /*repeat*/) {
    return test::answer_request(netfn, command, data);
}

// Nobody waits for a controller that is a function.
RequestLimit::RequestLimit(std::chrono::milliseconds /*longest*/, std::stop_token /*stop*/)
    : RequestLimit(std::stop_token()) {}
RequestLimit::RequestLimit(std::stop_token /*stop*/) : outer_(nullptr) {}
RequestLimit::~RequestLimit() = default;
const char* RequestLimit::reached() {
    return nullptr;
}
bool RequestLimit::pause(std::chrono::milliseconds /*length*/) {
    if (test::on_pause) test::on_pause();
    return true;
}

Controller& controller() {
    static Controller instance;
    return instance;
}

}  // namespace zel::bmc
