// SPDX-License-Identifier: Apache-2.0
#include "keyserver/provisioning/CardActions.h"

#include <algorithm>

#include "globalplatform/Tags.h"
#include "keyserver/provisioning/CardCommands.h"
#include "keyserver/provisioning/Signing.h"

namespace KeyServer {

namespace {

using namespace GlobalPlatform;

constexpr char Success[] = "9000";
constexpr char MoreData[] = "6310";

class FixedCourse final : public ActionCourse {
public:
    FixedCourse(
        const std::vector<PlainCommand>& fixed, bool showsData, const std::optional<KeyComponents>& key)
        : commands(fixed), shows(showsData), receiptKey(key) {}

    std::vector<PlainCommand> Next() override {
        std::vector<PlainCommand> next;
        bool waits = false;
        while (at < commands.size() && !waits) {
            waits = commands[at].decides;
            next.push_back(commands[at++]);
        }
        sent = next;
        return next;
    }

    void Take(const std::vector<CardResponse>& responses) override {
        for (std::size_t i = 0; receiptKey && i < responses.size(); ++i) {
            const PlainCommand& command = sent.at(i);
            if (!command.receiptFields.empty() && responses[i].statusWord == Success) {
                findings.push_back(
                    "receipt " + std::to_string(CheckReceipt(command, responses[i], *receiptKey)) + " of " +
                    command.title);
            }
        }
        for (std::size_t i = 0; shows && i < responses.size(); ++i) {
            const std::string data =
                responses[i].data.empty() ? responses[i].statusWord : HexText(responses[i].data);
            findings.push_back(sent.at(i).title + ": " + data);
        }
    }

    std::vector<std::string> Findings() const override { return findings; }

private:
    const std::vector<PlainCommand>& commands;
    const bool shows;
    const std::optional<KeyComponents>& receiptKey;
    std::size_t at = 0;
    std::vector<PlainCommand> sent;
    std::vector<std::string> findings;
};

class ListCourse final : public ActionCourse {
public:
    explicit ListCourse(const std::vector<CardSubset>& listed) : subsets(listed) {}

    std::vector<PlainCommand> Next() override {
        if (at == subsets.size()) {
            return {};
        }
        return {GetStatusCommand(static_cast<std::uint8_t>(subsets[at]), pages > 0)};
    }

    void Take(const std::vector<CardResponse>& responses) override {
        const CardResponse& response = responses.at(0);
        for (std::string& line : DescribeEntries(subsets[at], response.data)) {
            findings.push_back(std::move(line));
        }
        if (response.statusWord != MoreData) {
            ++at;
            pages = 0;
            return;
        }
        if (response.data.empty() || ++pages == MostPages) {
            throw CardProblem(
                ResultCode::WrongCardData,
                "the card has ever more to list (" + std::to_string(pages) + " answers with 6310)");
        }
    }

    std::vector<std::string> Findings() const override { return findings; }

private:
    // Also a full card has fewer; a card that repeats itself must not keep the session for ever.
    static constexpr std::size_t MostPages = 256;

    const std::vector<CardSubset>& subsets;
    std::size_t at = 0;
    std::size_t pages = 0;  // of this subset that said that more follows
    std::vector<std::string> findings;
};

class PutKeyCourse final : public ActionCourse {
public:
    PutKeyCourse(
        std::uint8_t newVersion, const StaticKeys& newKeys, std::optional<std::uint8_t> oldVersion,
        Bytes dataEncryptionKey)
        : version(newVersion),
          keys(newKeys),
          replaced(oldVersion),
          transportKey(std::move(dataEncryptionKey)) {}

    std::vector<PlainCommand> Next() override {
        if (confirmed) {
            return {};
        }
        if (!replaced) {
            return {GetDataCommand(Tag::KeyInformation, false)};
        }
        return {PutKeyCommand(*replaced, version, keys, transportKey)};
    }

    void Take(const std::vector<CardResponse>& responses) override {
        const Bytes& data = responses.at(0).data;
        if (!replaced) {
            const std::vector<std::uint8_t> versions = KeyVersions(data);
            const bool present = std::count(versions.begin(), versions.end(), version) > 0;
            replaced = present ? version : std::uint8_t(0);
            return;
        }
        const Bytes expected = PutKeyConfirmation(version, keys);
        if (data != expected) {
            throw CardProblem(
                ResultCode::KeyManagement, "the card confirms its new keys with \"" + HexText(data) +
                                               "\" in place of version and key check values " +
                                               HexText(expected));
        }
        confirmed = true;
    }

    std::vector<std::string> Findings() const override {
        return {
            "keys of version " + HexText({version}) +
            (*replaced == 0 ? " are new" : " replace those of version " + HexText({*replaced}))};
    }

private:
    const std::uint8_t version;
    const StaticKeys& keys;
    std::optional<std::uint8_t> replaced;  // none until the card's key versions are known
    const Bytes transportKey;
    bool confirmed = false;
};

class StoreKeyCourse final : public ActionCourse {
public:
    StoreKeyCourse(const KeyOrder& keyOrder, Bytes dataEncryptionKey)
        : order(keyOrder), transportKey(std::move(dataEncryptionKey)) {}

    std::vector<PlainCommand> Next() override {
        if (confirmed) {
            return {};
        }
        return {StoreKeyCommand(order, transportKey)};
    }

    void Take(const std::vector<CardResponse>& responses) override {
        const Bytes& data = responses.at(0).data;
        const Bytes expected = StoreKeyConfirmation(order);
        if (data != expected) {
            throw CardProblem(
                ResultCode::KeyManagement, "the card confirms its new key with \"" + HexText(data) +
                                               "\" in place of " + HexText(expected));
        }
        confirmed = true;
    }

private:
    const KeyOrder& order;
    const Bytes transportKey;
    bool confirmed = false;
};

}  // namespace

std::unique_ptr<ActionCourse> FixedAction::Begin(const ChannelKeys&) const {
    return std::make_unique<FixedCourse>(commands, shows, receiptKey);
}

std::unique_ptr<ActionCourse> StoreKeyAction::Begin(const ChannelKeys& channel) const {
    return std::make_unique<StoreKeyCourse>(order, channel.keys.dataEncryption);
}

std::unique_ptr<ActionCourse> ListAction::Begin(const ChannelKeys&) const {
    return std::make_unique<ListCourse>(subsets);
}

std::unique_ptr<ActionCourse> PutKeyAction::Begin(const ChannelKeys& channel) const {
    return std::make_unique<PutKeyCourse>(version, keys, replaced, channel.keys.dataEncryption);
}

}  // namespace KeyServer
