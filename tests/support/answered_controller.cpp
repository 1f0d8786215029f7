// SPDX-License-Identifier: GPL-3.0-or-later
#include "answered_controller.h"

#include <algorithm>

namespace zel::test {
namespace {

constexpr std::uint8_t kGetSdr = 0x23, kSetThresholds = 0x26, kGetThresholds = 0x27;

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

AnswerRequest controller_with(std::vector<simulator::Sensor> sensors) {
    return [sensors](bmc::NetFn, std::uint8_t command, Bytes data) mutable -> std::optional<bmc::Reply> {
        if (command == kGetSdr) return bmc::Reply{0, record_part(sensors, data)};
        std::vector<std::uint8_t> answer(14);
        if (command != kSetThresholds && command != kGetThresholds) return bmc::Reply{0, answer};
        const auto sensor = std::ranges::find(sensors, data[0], &simulator::Sensor::number);
        if (sensor == sensors.end()) return bmc::Reply{0xcb, {}};
        answer = {sensor->live_thresholds};
        for (std::size_t i = 0; i < sensor->codes.size(); ++i) {
            if (command == kSetThresholds && (data[1] >> i & 1) != 0) sensor->codes.at(i) = data[i + 2];
            answer.push_back(static_cast<std::uint8_t>(sensor->codes.at(i)));
        }
        return bmc::Reply{0, answer};
    };
}

}  // namespace zel::test

namespace zel::bmc {

Controller::Controller() = default;
Controller::~Controller() = default;
void Controller::Close::operator()(ipmi_ctx* /*context*/) const {}
void Controller::end_session() {}

std::string Controller::target() {
    return "test";
}

std::optional<Reply> Controller::request(std::uint8_t /*lun*/, NetFn netfn, std::uint8_t command,
                                         std::span<const std::uint8_t> data) {
    return test::answer_request(netfn, command, data);
}

Controller& controller() {
    static Controller instance;
    return instance;
}

}  // namespace zel::bmc
