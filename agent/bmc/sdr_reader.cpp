// SPDX-License-Identifier: GPL-3.0-or-later
#include "sdr_reader.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <set>
#include <utility>

#include "request_limit.h"
#include "sdr_record.h"
#include "zel/trace.h"

namespace zel::bmc {
namespace {

constexpr const char* kModule = "sdr_repository";

enum Command : std::uint8_t { kReserveRepository = 0x22, kGetSdr = 0x23 };
enum Completion : std::uint8_t {
    kUnknownCommand = 0xc1,
    kReservationLost = 0xc5,
    kSizeInvalid = 0xc7,
    kSizeExceeded = 0xc8,
    kOutOfRange = 0xc9,
    kTooMany = 0xca,
    kFieldInvalid = 0xcc
};

constexpr std::uint16_t kLastRecord = 0xffff;
constexpr std::size_t kNextRecord = 2;      // bytes before a record's in each answer
constexpr std::size_t kLongestRecord = 96;  // a sensor's has 48 bytes and a name of at most 31
constexpr int kMostRenewals = 40;           // of a reservation for one answer
constexpr int kMostEmpty = 4;
constexpr std::chrono::milliseconds kPause{200};
constexpr std::uint8_t kLargestPiece = 32;  // what controllers commonly answer in one go
constexpr std::uint8_t kSmallestPiece = 8;

std::uint8_t low(unsigned value) {
    return static_cast<std::uint8_t>(value & 0xff);
}
std::uint8_t high(unsigned value) {
    return static_cast<std::uint8_t>(value >> 8 & 0xff);
}

/// A record as far as it was read.
struct RawRecord {
    std::uint16_t next = kLastRecord;
    Record bytes;
    bool cut_off = false;  ///< The controller says that there is no more of it.

    bool operator==(const RawRecord&) const = default;
};

/// Refusals by which controllers say that a record ends before the bytes asked for.
bool is_beyond_end(std::uint8_t completion) {
    return completion == kSizeInvalid || completion == kSizeExceeded || completion == kOutOfRange ||
           completion == kTooMany || completion == kFieldInvalid;
}

class RepositoryReader {
  public:
    explicit RepositoryReader(Controller& controller) : controller_(controller) {}

    std::optional<std::vector<Record>> read() {
        if (!reserve()) return std::nullopt;
        std::vector<Record> records;
        std::set<std::uint16_t> seen;
        for (std::uint16_t id = 0; id != kLastRecord;) {
            seen.insert(id);
            auto record = read_record(id);
            if (!record) return std::nullopt;
            if (seen.contains(record->next)) {
                // Firmware whose last record points at the first is left at that, once it said so twice.
                record = read_twice(id, *std::move(record));
                if (!record) return std::nullopt;
                if (seen.contains(record->next)) {
                    trace(id, "is followed by one before it: the end");
                    record->next = kLastRecord;
                }
            }
            id = record->next;
            if (record->cut_off) {
                trace(id, "is not as long as it says, and left out");
            } else if (may_be_sensor(record->bytes)) {
                records.push_back(std::move(record->bytes));
            }
        }
        return records;
    }

  private:
    /// Controllers need not know reservations: parts of records are then read without one.
    bool reserve() {
        const auto reply = controller_.request(0, kStorage, kReserveRepository);
        if (!reply) return false;
        if (reply->completion == kUnknownCommand) {
            reservation_ = {};
            return true;
        }
        if (reply->ok() && reply->data.size() >= reservation_.size()) {
            std::copy_n(reply->data.begin(), reservation_.size(), reservation_.begin());
            return true;
        }
        ZEL_TRACE(TRACE_LEVEL_ERROR, "No reservation: completion %02xh, %zu bytes.",
                  unsigned{reply->completion}, reply->data.size());
        return false;
    }

    /// The answer to Get SDR. Renews a lost reservation, which any other program that reads takes away, and
    /// asks for less where the controller cannot give that much at once.
    std::optional<Reply> ask_for(std::uint16_t id, std::size_t offset, std::size_t wanted) {
        for (int renewals = 0;;) {
            const std::uint8_t size = low(unsigned(std::min<std::size_t>(wanted, piece_)));
            const std::array<std::uint8_t, 6> request{reservation_[0], reservation_[1],       low(id),
                                                      high(id),        low(unsigned(offset)), size};
            auto reply = controller_.request(0, kStorage, kGetSdr, request);
            if (!reply) return std::nullopt;
            if (reply->completion == kReservationLost && renewals < kMostRenewals) {
                // Longer and longer, not to go on in step with the other one.
                const bool may = RequestLimit::pause(std::chrono::milliseconds(renewals++));
                if (!may || !reserve()) return std::nullopt;
                continue;
            }
            const bool too_large = reply->completion == kTooMany || reply->completion == kSizeExceeded ||
                                   reply->completion == kSizeInvalid;
            if (!too_large || size <= kSmallestPiece) return reply;
            piece_ = std::max<std::uint8_t>(size / 2, kSmallestPiece);
        }
    }

    /// Reads on until there are `size` bytes or the record is cut off; with fewer bytes than asked for in an
    /// answer there are more answers. Stops early at what is no sensor. False when the controller would not.
    bool read_on(std::uint16_t id, std::size_t size, RawRecord& record) {
        for (int empty = 0; record.bytes.size() < size;) {
            if (record.bytes.size() >= kRecordHeader && !may_be_sensor(record.bytes)) return true;
            const std::size_t wanted = size - record.bytes.size();
            const auto reply = ask_for(id, record.bytes.size(), wanted);
            if (!reply) return false;
            if (!reply->ok()) {
                // Right behind the header it is rather a controller that gives no parts.
                record.cut_off = record.bytes.size() > kRecordHeader && is_beyond_end(reply->completion);
                if (!record.cut_off) trace(id, "is refused", reply->completion);
                return record.cut_off;
            }
            if (reply->data.size() <= kNextRecord) {
                if (empty == kMostEmpty) trace(id, "is not given");
                if (empty++ == kMostEmpty || !RequestLimit::pause(kPause)) return false;
                continue;
            }
            const auto part = std::span(reply->data).subspan(kNextRecord);
            const auto taken = part.first(std::min(part.size(), wanted));
            record.next = static_cast<std::uint16_t>(reply->data[0] | reply->data[1] << 8);
            record.bytes.insert(record.bytes.end(), taken.begin(), taken.end());
        }
        return true;
    }

    /// A record, whole where it may be a sensor's. One that is cut off was so twice in a row.
    std::optional<RawRecord> read_record(std::uint16_t id) {
        auto record = read_once(id);
        return record && record->cut_off ? read_twice(id, *std::move(record)) : record;
    }

    std::optional<RawRecord> read_once(std::uint16_t id) {
        RawRecord record;
        if (!read_on(id, kRecordHeader, record)) return std::nullopt;
        const std::size_t size = kRecordHeader + record.bytes[kRecordHeader - 1];
        record.cut_off = size > kLongestRecord && may_be_sensor(record.bytes);
        if (!record.cut_off && !read_on(id, size, record)) return std::nullopt;
        return record;
    }

    /// The record once more; nothing when it differs: something odd is believed when it stays.
    std::optional<RawRecord> read_twice(std::uint16_t id, const RawRecord& first) {
        if (!RequestLimit::pause(kPause)) return std::nullopt;
        auto second = read_once(id);
        if (!second || *second == first || !second->cut_off) return second;
        trace(id, "is another one each time");
        return std::nullopt;
    }

    static void trace(std::uint16_t id, const char* what, std::uint8_t completion = 0) {
        ZEL_TRACE(TRACE_LEVEL_ERROR, "Record %04xh %s (completion %02xh).", unsigned{id}, what,
                  unsigned{completion});
    }

    Controller& controller_;
    std::array<std::uint8_t, 2> reservation_{};
    std::uint8_t piece_ = kLargestPiece;
};

}  // namespace

std::optional<std::vector<Record>> read_records(Controller& controller) {
    return RepositoryReader(controller).read();
}

}  // namespace zel::bmc
