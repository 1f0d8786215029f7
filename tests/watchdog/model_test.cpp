// SPDX-License-Identifier: GPL-3.0-or-later
// Random lives of a feeder beside others who use the timer, on the simulated controller's own timer. Three laws hold at
// any moment:
//   a timer that is not the feeder's is never changed, started again or stopped;
//   the feeder's does not run out while it lives, or is started again in time, and the settings want it;
//   it does run out once the feeder is gone, with the actions and after the time of the settings.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

#include "answered_controller.h"
#include "countdown.h"
#include "watchdog/feeder.h"

namespace zel::watchdog {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

struct Killed {};

class Life {
  public:
    explicit Life(unsigned seed) : random_(seed) {
        test::answer_request = [this](bmc::NetFn, std::uint8_t command, test::Bytes data) {
            return answer(command, data);
        };
        orders_ = {.wanted = true, .timer = setting(120, 1), .interval = seconds(30), .generation = 1};
        start();
    }
    ~Life() { test::answer_request = nullptr; }
    Life(const Life&) = delete;
    Life& operator=(const Life&) = delete;

    void walk() {
        constexpr int kSteps = 400;
        for (int i = 0; i < kSteps && !testing::Test::HasFailure(); ++i)
            step();
        leave_in_peace();
    }
    [[nodiscard]] const std::string& story() const { return story_; }

  private:
    enum class Owner { nobody, feeder, other };

    [[nodiscard]] long tenths() const { return now_.count() / 100; }
    int below(int count) { return std::uniform_int_distribution<int>(0, count - 1)(random_); }
    void note(const std::string& what) { story_ += std::to_string(now_.count() / 1000) + " " + what + "\n"; }

    static bmc::TimerSetting setting(unsigned timeout, std::uint8_t actions) {
        return {bmc::kUsedBySystem, actions, 0, static_cast<std::uint16_t>(timeout * 10)};
    }

    /// Law 1 is looked at with each request of the feeder's, and a death or a loss may come with any.
    std::optional<bmc::Reply> answer(std::uint8_t command, test::Bytes data) {
        advance(milliseconds(below(30)));
        if (below(100) < death_) throw Killed();
        if (silent_until_ > now_ || below(100) < loss_) return std::nullopt;
        std::vector<std::uint8_t> state(COUNTDOWN_STATE);
        std::uint8_t completion = 0;
        if (command == 0x25) {
            countdown_state(&timer_, state.data());
        } else {
            EXPECT_FALSE(timer_.running && owner_ == Owner::other) << "law 1";
            if (command == 0x24) {
                EXPECT_FALSE(stood_down_) << "armed what was stopped on purpose";
                EXPECT_TRUE(countdown_set(&timer_, data.data(), tenths()));
                owner_ = Owner::feeder;
            } else if (timer_.set) {
                EXPECT_EQ(owner_, Owner::feeder) << "law 1: started what another program had stopped";
                countdown_start(&timer_, tenths());
            } else {
                completion = 0x80;
            }
        }
        if (below(100) < death_) throw Killed();
        if (below(100) < loss_) return std::nullopt;
        return bmc::Reply{completion, state};
    }

    /// Law 2, unless the controller was silent for too long or the feeder was away.
    void advance(milliseconds by) {
        now_ += by;
        if (!countdown_advance(&timer_, tenths())) return;
        note("ran out");
        // Over before it was seen: it looks as if it had been stopped.
        stopped_ = stopped_ || (owner_ == Owner::other && page_.hold != Hold::taken);
        EXPECT_FALSE(owner_ == Owner::feeder && feeder_ && wanted() && !excused_) << "law 2";
    }

    [[nodiscard]] bool wanted() const { return orders_.wanted && orders_.objection.empty(); }

    void start() {
        note("start");
        // What could not be written is not known any more.
        if (page_.hold != Hold::armed && page_.hold != Hold::stopped) stood_down_ = false;
        feeder_.emplace(bmc::controller(), page_, [this](const Page& page) {
            if (below(100) < full_) return errno = ENOSPC, false;
            page_ = page;
            return true;
        });
        next_ = now_;
    }

    /// The feeder's visits until then.
    void live(milliseconds until) {
        while (now_ < until) {
            const milliseconds wake = feeder_ ? std::min(std::max(next_, now_), until) : until;
            advance(wake - now_);
            if (!feeder_ || next_ > now_) continue;
            try {
                next_ = feeder_->visit(orders_, now_);
                EXPECT_GT(next_, now_ - seconds(1)) << "no rest";
            } catch (const Killed&) {
                note("killed");
                death_ = death_ > 5 ? 5 : 0;  // who is killed for minutes is not there in time
                feeder_.reset();
                advance(seconds(2 + below(8)));
                start();
            }
        }
    }

    void look_now() { next_ = now_; }

    void change_settings() {
        constexpr unsigned kTimeouts[]{90, 120, 600};
        orders_.wanted = below(5) > 0;
        orders_.interval = seconds(30 + below(31));
        orders_.timer = setting(kTimeouts[below(3)], static_cast<std::uint8_t>(below(4)));
        orders_.objection = below(8) == 0 ? "no" : "";
        ++orders_.generation;
        stopped_ = stood_down_ = false;
        look_now();
    }

    void somebody_else() {
        const bool takes = below(2) == 0;
        note(takes ? "taken" : "stopped by another");
        stood_down_ =
            !takes &&
            (stood_down_ || (timer_.running && timer_.expired == 0 && owner_ == Owner::feeder && feeder_ &&
                             feeder_->page().hold == Hold::armed && page_.generation == orders_.generation));
        const auto countdown = static_cast<unsigned>(takes ? 3000 + below(3000) : timer_.countdown);
        const unsigned char wanted[]{static_cast<unsigned char>(takes ? 3 : std::max<int>(timer_.use, 1)),
                                     1,
                                     0,
                                     0,
                                     static_cast<unsigned char>(countdown & 0xff),
                                     static_cast<unsigned char>(countdown >> 8)};
        countdown_set(&timer_, wanted, tenths());
        if (takes) countdown_start(&timer_, tenths());
        owner_ = Owner::other;
        stopped_ = stopped_ || !takes;
    }

    void step() {
        death_ = below(10) == 0 ? 10 : 0;
        loss_ = below(6) == 0 ? 20 : 0;
        full_ = below(5) == 0 ? 50 : 0;
        if (death_ + loss_ + full_ > 0) stood_down_ = false;  // it may not have been known
        excused_ = false;
        switch (below(8)) {
            case 0:
                change_settings();
                break;
            case 1:
                somebody_else();
                if (below(3) == 0) change_settings();
                break;
            case 2:
                note("controller restarts");
                timer_ = Countdown();
                owner_ = Owner::nobody;
                stood_down_ = false;
                break;
            case 3:
                note("silence");
                silent_until_ = now_ + seconds(below(400));
                excused_ = true;
                live(silent_until_);
                // What was silent for long may run out before the first answer.
                death_ = loss_ = 0;
                live(now_ + seconds(35));
                excused_ = false;
                break;
            case 4:
                note("restart");
                feeder_.reset();
                advance(seconds(1 + below(9)));
                start();
                break;
            default:
                break;
        }
        live(now_ + seconds(below(300)));
        expect_that_it_does_something();
    }

    /// Two hours without anything that happens: whatever was before, the settings are in force.
    void leave_in_peace() {
        death_ = loss_ = full_ = 0;
        silent_until_ = {};
        if (stopped_)
            stood_down_ = false,
            ++orders_.generation;  // nobody but who saves it again wants what somebody stopped
        look_now();
        live(now_ + std::chrono::hours(3));
        ASSERT_FALSE(timer_.running && owner_ == Owner::other) << "the other's has run out by now";
        ASSERT_EQ(timer_.running, wanted());
        EXPECT_EQ(page_.state, wanted() ? State::armed : orders_.wanted ? State::refused : State::off);
        if (!wanted()) return;
        // Law 3.
        const auto fed = static_cast<long>(timer_.end - timer_.countdown);
        feeder_.reset();
        while (timer_.running)
            advance(milliseconds(100));
        EXPECT_EQ(tenths() - fed, orders_.timer.countdown);
        EXPECT_EQ(timer_.actions, orders_.timer.actions);
    }

    /// What is told is what is.
    void expect_that_it_does_something() const {
        if (!feeder_ || loss_ + full_ > 0) return;
        if (page_.state == State::armed) {
            EXPECT_TRUE(timer_.running || now_ + seconds(60) > next_);
        }
        if (!wanted()) {
            EXPECT_FALSE(timer_.running && timer_.expired == 0 && owner_ == Owner::feeder &&
                         page_.hold == Hold::none);
        }
    }

    std::mt19937 random_;
    Countdown timer_{};
    Owner owner_ = Owner::nobody;
    milliseconds now_ = seconds(1000);
    milliseconds next_{}, silent_until_{};
    int death_ = 0, loss_ = 0, full_ = 0;  ///< In a hundred.
    bool excused_ = false;
    bool stopped_ = false;     ///< By somebody else, since the settings were saved.
    bool stood_down_ = false;  ///< And it was the feeder's.
    Orders orders_;
    Page page_;
    std::optional<Feeder> feeder_;
    std::string story_;
};

/// ZEL_STEPS more lives: one takes a few milliseconds.
TEST(Feeder, KeepsItsLawsInAnyLife) {
    const char* const more = std::getenv("ZEL_STEPS");
    const unsigned lives = 60 + (more != nullptr ? static_cast<unsigned>(std::atoi(more)) : 0);
    for (unsigned seed = 1; seed <= lives && !HasFailure(); ++seed) {
        Life life(seed);
        life.walk();
        if (HasFailure()) ADD_FAILURE() << "life " << seed << ":\n" << life.story();
    }
}

TEST(Feeder, StartsNothingThatTheControllerMadeOfIt) {
    std::vector<int> commands;
    test::answer_request = [&](bmc::NetFn, std::uint8_t command, test::Bytes) {
        commands.push_back(command);
        return bmc::Reply{0, {bmc::kUsedBySystem, 1, 0, 0, 0x84, 0x03, 0x84, 0x03}};
    };
    const Orders orders{.wanted = true, .timer = {bmc::kUsedBySystem, 1, 0, 1200}, .interval = seconds(30)};
    Feeder feeder(bmc::controller(), {}, [](const Page&) { return true; });
    EXPECT_EQ(feeder.visit(orders, seconds(1)), seconds(3601));
    EXPECT_EQ(commands, (std::vector<int>{0x25, 0x24, 0x25}));
    EXPECT_EQ(feeder.page().state, State::refused);
}

}  // namespace
}  // namespace zel::watchdog
