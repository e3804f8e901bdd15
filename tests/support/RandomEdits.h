// Random edits of a host, and its partner, which selects items, is stopped, continued, killed and
// replaced. At each quiet point the lists and the selections of both sides are equal.
#pragma once

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>

#include "DisturbedPartner.h"
#include "Hex.h"
#include "Options.h"
#include "PrivateBus.h"
#include "QuietHost.h"
#include "RandomSteps.h"
#include "Records.h"
#include "SharedBus.h"

inline namespace applist_test {

/** @tparam Host waits for a condition, and returns its list and selection as records */
template <class Host>
class RandomEdits {
public:
    template <class... Arguments>
    explicit RandomEdits(std::uint64_t seed, Arguments&&... arguments)
        : m_random(seed), m_host(std::forward<Arguments>(arguments)...) {}
    virtual ~RandomEdits() = default;

    RandomEdits(const RandomEdits&) = delete;
    RandomEdits& operator=(const RandomEdits&) = delete;

    void Step() {
        const std::size_t kind = Pick(100);
        if (kind < 85) {
            Edit();
        } else if (kind < 93) {
            m_partner.Select(20);
        } else if (kind < 95) {
            m_partner.Notify(kind == 93 ? Records::CLICKED_EVENT : Records::CHANGE_EVENT);
        } else {
            m_partner.Disturb();
        }
        EndStep();
    }

    /** Throws std::runtime_error when the two sides do not become equal. */
    void Compare() {
        m_partner.Continue();
        std::pair<std::string, std::string> partner;
        const bool equal = m_host.WaitUntil([&] {
            partner = m_partner.List();
            return partner == m_host.Records();
        });
        CheckHost();
        if (!equal) {
            const auto [list, selection] = m_host.Records();
            throw std::runtime_error("host " + Hex::Of(list) + " selection " + Hex::Of(selection) +
                                     ", partner " + Hex::Of(partner.first) + " selection " +
                                     Hex::Of(partner.second));
        }
        ++m_done["comparisons"];
    }

    /** The numbers of actions by their names. */
    std::map<std::string, unsigned long> Done() const {
        std::map<std::string, unsigned long> done = m_partner.Done();
        done.insert(m_done.begin(), m_done.end());
        return done;
    }

protected:
    virtual void Edit() = 0;
    /** Dispatches events of the host between two steps. */
    virtual void EndStep() {}
    /** Throws std::runtime_error when the host's list is wrong, whatever the partner's list is. */
    virtual void CheckHost() {}

    std::size_t Pick(std::size_t count) { return m_random() % count; }
    char AnyLetter() { return m_letters[Pick(m_letters.size())]; }
    /** Different letters; every other time they are in order, so that items stay. */
    std::string AnyLetters() {
        std::string letters = m_letters;
        std::shuffle(letters.begin(), letters.end(), m_random);
        letters.resize(Pick(15));
        if (Pick(2) == 0) {
            std::sort(letters.begin(), letters.end());
        }
        return letters;
    }

    void Count(const char* change, bool isAccepted = true) {
        ++m_done[change + std::string(isAccepted ? "" : ", rejected")];
    }

    std::mt19937_64 m_random;
    Host m_host;
    std::map<std::string, unsigned long> m_done;

private:
    const std::string m_letters = "abcdefghijklmnopqrst"; ///< the ids of all items

    DisturbedPartner m_partner{m_random};
};

/** The program of a class of random edits. @return the exit status */
template <class Run>
int RunRandomEdits(int argc, char** argv, const char* summary) {
    gint64 steps = 100000;
    gint64 seed = std::random_device()();
    ParseOptions(argc, argv, summary,
                 {NumberOption("steps", steps, "Make so many steps (100000)"),
                  NumberOption("seed", seed, "Repeat the choices of this seed")});
    const QuietHost quiet;
    const PrivateBus bus;
    std::printf("seed %" PRId64 "\n", seed);
    std::fflush(stdout);
    const auto start = std::chrono::steady_clock::now();
    {
        Run run(static_cast<std::uint64_t>(seed));
        if (!MakeRandomSteps(run, steps, seed, 20)) {
            return 1;
        }
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        std::printf("%" PRId64 " steps in %.1f s, all equal\n", steps, took.count());
    }
    SharedBus::WaitUntilReleased();
    return QuietHost::Criticals() == 0 ? 0 : 1;
}

} // namespace applist_test
