// SPDX-License-Identifier: GPL-3.0-or-later
#include "sdr_repository.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <mutex>
#include <set>

#include "sdr_record.h"
#include "zel/tracelog.h"

namespace zel::bmc {
namespace {

constexpr const char* kModule = "sdr_repository";

enum Command : std::uint8_t {
    kGetDeviceId = 0x01,
    kGetRepositoryInfo = 0x20,
    kReserveRepository = 0x22,
    kGetSdr = 0x23,
};
enum Completion : std::uint8_t {
    kReservationLost = 0xc5,
    kSizeInvalid = 0xc7,
    kSizeExceeded = 0xc8,
    kTooMany = 0xca
};

constexpr std::uint16_t kLastRecord = 0xffff;
constexpr std::size_t kMostRecords = 8192;
constexpr int kMostReservations = 16;
constexpr std::uint8_t kLargestPiece = 32;  // what controllers commonly answer in one go
constexpr std::uint8_t kSmallestPiece = 8;

std::uint8_t low(unsigned value) {
    return static_cast<std::uint8_t>(value & 0xff);
}
std::uint8_t high(unsigned value) {
    return static_cast<std::uint8_t>(value >> 8 & 0xff);
}

/// The data of a command's answer; nothing, traced, when it was refused or is shorter than `least`.
std::optional<std::vector<std::uint8_t>> ask(Controller& controller, NetFn netfn, std::uint8_t command,
                                             std::size_t least) {
    auto reply = controller.request(0, netfn, command);
    if (!reply) return std::nullopt;
    if (reply->ok() && reply->data.size() >= least) return std::move(reply->data);
    TraceLog(TRACE_LEVEL_ERROR, kModule, __func__, __LINE__,
             "Request %02xh/%02xh: completion %02xh, %zu bytes.", unsigned{netfn}, unsigned{command},
             unsigned{reply->completion}, reply->data.size());
    return std::nullopt;
}

class RepositoryReader {
  public:
    explicit RepositoryReader(Controller& controller) : controller_(controller) {}

    std::optional<Repository> read() {
        if (!reserve()) return std::nullopt;
        std::set<std::uint16_t> seen;
        std::uint16_t id = 0;
        while (id != kLastRecord && seen.size() < kMostRecords) {
            if (!seen.insert(id).second) {
                trace_left_out(id, "the records form a ring, the rest");
                break;
            }
            const auto next = read_record(id);
            if (!reachable_) return std::nullopt;
            if (!next) break;
            id = *next;
        }
        return std::move(result_);
    }

  private:
    bool reserve() {
        const auto data = ask(controller_, kStorage, kReserveRepository, 2);
        if (data) reservation_ = {(*data)[0], (*data)[1]};
        return data.has_value();
    }

    /// Bytes of a record, preceded by the next record's id. Nothing when the controller gives none
    /// (`completion_` says why) or not as many; renews a lost reservation and asks for less where needed.
    std::optional<std::vector<std::uint8_t>> read_piece(std::uint16_t id, std::size_t offset,
                                                        std::size_t wanted) {
        for (;;) {
            const std::uint8_t size = low(static_cast<unsigned>(std::min<std::size_t>(wanted, piece_)));
            const std::array<std::uint8_t, 6> request{reservation_[0], reservation_[1],       low(id),
                                                      high(id),        low(unsigned(offset)), size};
            auto reply = controller_.request(0, kStorage, kGetSdr, request);
            reachable_ = reply.has_value();
            if (!reply) return std::nullopt;
            completion_ = reply->completion;
            if (reply->ok()) {
                if (reply->data.size() != std::size_t{2} + size) return std::nullopt;
                return std::move(reply->data);
            }
            if (reply->completion == kReservationLost && ++reservations_ < kMostReservations) {
                reachable_ = reserve();
                if (!reachable_) return std::nullopt;
                continue;
            }
            const bool too_large = reply->completion == kTooMany || reply->completion == kSizeExceeded ||
                                   reply->completion == kSizeInvalid;
            if (!too_large || size <= kSmallestPiece) return std::nullopt;
            piece_ = std::max<std::uint8_t>(size / 2, kSmallestPiece);
        }
    }

    /// Reads one record and keeps it when it matters. The next record's id, or nothing when the list ends
    /// here.
    std::optional<std::uint16_t> read_record(std::uint16_t id) {
        const auto header = read_piece(id, 0, kRecordHeader);
        if (!header) {
            if (reachable_) trace_left_out(id, "no header, this one and the rest");
            result_.complete = false;
            return std::nullopt;
        }
        const auto next = static_cast<std::uint16_t>((*header)[0] | (*header)[1] << 8);
        Record record(header->begin() + 2, header->end());
        const std::size_t size = kRecordHeader + record[kRecordHeader - 1];
        while (record.size() < size && may_be_sensor(record)) {
            const auto piece = read_piece(id, record.size(), size - record.size());
            if (!reachable_) return std::nullopt;
            if (!piece) {
                trace_left_out(id, "cut off or refused, this one");
                if (completion_ != 0) result_.complete = false;
                return next;
            }
            record.insert(record.end(), piece->begin() + 2, piece->end());
        }
        if (may_be_sensor(record)) result_.records.push_back(std::move(record));
        return next;
    }

    void trace_left_out(std::uint16_t id, const char* what) const {
        TraceLog(TRACE_LEVEL_ERROR, kModule, __func__, __LINE__,
                 "Record %04xh: %s left out (completion %02xh).", unsigned{id}, what, unsigned{completion_});
    }

    Controller& controller_;
    std::array<std::uint8_t, 2> reservation_{};
    int reservations_ = 0;
    std::uint8_t piece_ = kLargestPiece;
    bool reachable_ = true;
    std::uint8_t completion_ = 0;
    Repository result_;
};

}  // namespace

std::string to_hex(std::span<const std::uint8_t> bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0x0f];
    }
    return text;
}

// Once for what is read in a row, one kind of sensors after the other: no controller restarts with another
// firmware within seconds.
std::optional<std::vector<std::uint8_t>> device_id(Controller& controller) {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::seconds kHolds{10};
    struct Known {
        std::mutex mutex;
        std::string target;
        std::vector<std::uint8_t> device;
        Clock::time_point until;
    };
    // Never destroyed: threads may still ask while the process ends.
    static Known& known = *new Known;
    const std::scoped_lock lock(known.mutex);
    if (known.target == controller.target() && Clock::now() < known.until) return known.device;
    auto device = ask(controller, kApp, kGetDeviceId, 11);
    if (!device) return std::nullopt;
    known.target = controller.target();
    known.device = *device;
    known.until = Clock::now() + kHolds;
    return device;
}

std::optional<std::string> repository_identity(Controller& controller) {
    // Version, number of records, free space and the times of the last change.
    const auto info = ask(controller, kStorage, kGetRepositoryInfo, 13);
    if (!info) return std::nullopt;
    auto device = device_id(controller);
    if (!device) return std::nullopt;
    (*device)[2] &= 0x7f;  // the rest is the firmware's version, this bit says "busy at present"
    return controller.target() + " device " + to_hex(std::span(*device).first(11)) + " repository " +
           to_hex(std::span(*info).first(13));
}

std::optional<Repository> read_repository(Controller& controller) {
    return RepositoryReader(controller).read();
}

}  // namespace zel::bmc
