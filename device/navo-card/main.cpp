// SPDX-License-Identifier: Apache-2.0
// navo-card: puts the software card into a virtual reader until it is told to end.
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <iostream>
#include <stdexcept>
#include <system_error>

#include "card/ContentStore.h"
#include "card/Listing.h"
#include "commandline/PrivateFile.h"
#include "device/navo-card/Options.h"
#include "device/navo-card/PresentedCard.h"

namespace {

using namespace NavoCard;

constexpr std::chrono::milliseconds FirstPause{50};
constexpr std::chrono::milliseconds LongestPause{2000};

// A reader without a card takes the next one within its own polling, which is less than a second.
constexpr std::chrono::milliseconds TakingTime{3000};
constexpr std::chrono::milliseconds TakingTimeOnce{10000};
constexpr std::chrono::milliseconds Forever{-1};

// SIGTERM and SIGINT as a descriptor that becomes readable.
class EndingSignals {
public:
    EndingSignals() {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGTERM);
        sigaddset(&signals, SIGINT);
        sigprocmask(SIG_BLOCK, &signals, nullptr);
        descriptor = signalfd(-1, &signals, SFD_CLOEXEC);
        if (descriptor < 0) {
            throw std::system_error(errno, std::generic_category(), "signalfd");
        }
    }
    ~EndingSignals() { close(descriptor); }
    EndingSignals(const EndingSignals&) = delete;
    EndingSignals& operator=(const EndingSignals&) = delete;

    int Descriptor() const { return descriptor; }

    // True when one has come before the time is over.
    bool Within(std::chrono::milliseconds time) const {
        pollfd watched = {descriptor, POLLIN, 0};
        return poll(&watched, 1, static_cast<int>(time.count())) > 0;
    }

private:
    int descriptor = -1;
};

// Until the reader takes the card. One that has another card connects too, but says nothing. False when
// everything has to end; throws NoReader when the card is to be presented once and the reader does not take
// it.
bool AwaitReader(VpcdLink& link, const Options& options) {
    if (link.IsTakenWithin(options.once ? TakingTimeOnce : TakingTime)) {
        return true;
    }
    const std::string place = options.host + " port " + std::to_string(options.port);
    if (!link.Stopped() && options.once) {
        throw NoReader(place + ": another card is in it");
    }
    if (!link.Stopped()) {
        std::cerr << "navo-card: " << place << " has another card; waiting until it is pulled\n";
    }
    return !link.Stopped() && link.IsTakenWithin(Forever);
}

// One connection from its beginning to its end.
LinkEnd Present(PresentedCard& card, const Options& options, const EndingSignals& signals) {
    VpcdLink link(options.host, options.port, signals.Descriptor());
    if (link.Stopped() || !AwaitReader(link, options)) {
        return LinkEnd::Stopped;
    }
    std::cout << "navo-card presented to " << options.host << " port " << options.port << std::endl;
    const LinkEnd end = link.Serve(card);
    if (end == LinkEnd::ReaderGone) {
        std::cerr << "navo-card: the reader has gone\n";
        card.PowerOff();
    }
    return end;
}

std::string TextOf(const NoReader& error) {
    return std::string("no reader at ") + error.what() + " (pcscd with the driver vpcd has one)";
}

// Presents the card again and again; while there is no reader, in growing intervals.
void PresentUntilStopped(PresentedCard& card, const Options& options, const EndingSignals& signals) {
    std::chrono::milliseconds pause = FirstPause;
    for (bool complained = false;;) {
        try {
            if (Present(card, options, signals) == LinkEnd::Stopped) {
                return;
            }
            pause = FirstPause;
            complained = false;
        } catch (const NoReader& error) {
            if (!complained) {
                std::cerr << "navo-card: " << TextOf(error) << "; waiting for one\n";
            }
            complained = true;
        }
        if (signals.Within(pause)) {
            return;
        }
        pause = std::min(2 * pause, LongestPause);
    }
}

// Of its state file, or of the card that is made without one.
void List(const Card::Options& options) {
    Check(options);
    const Card::CardContent content =
        options.stateFile.empty() ? Card::CardContent(options) : Card::ContentIn(options.stateFile);
    std::cout << Card::Listing(content, options);
}

}  // namespace

int main(int count, char** arguments) {
    int status = ExitSuccess;
    const std::optional<Options> options = ParseCommandLine(count, arguments, status);
    if (!options) {
        return status;
    }
    try {
        if (options->list) {
            List(options->card);
            return ExitSuccess;
        }
        const EndingSignals signals;
        PresentedCard card(options->card, options->recordFile);
        CommandLine::WarnOfOpenKeys("navo-card", {options->card.stateFile});
        if (options->card.byteProtocol || options->card.manners.announcesAnswers) {
            std::cerr
                << "navo-card: with " << (options->card.byteProtocol ? "T=0" : "announced answers")
                << ", the service's own follow-up of 61xx and 6Cxx gets 6700, and a key server no answer\n";
        }
        if (options->once) {
            Present(card, *options, signals);
        } else {
            PresentUntilStopped(card, *options, signals);
        }
        return ExitSuccess;
    } catch (const NoReader& error) {
        std::cerr << "navo-card: " << TextOf(error) << "\n";
    } catch (const std::exception& error) {
        std::cerr << "navo-card: " << error.what() << "\n";
    }
    return ExitFailure;
}
