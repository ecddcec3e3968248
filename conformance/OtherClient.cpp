// SPDX-License-Identifier: Apache-2.0
#include "conformance/OtherClient.h"

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <iostream>
#include <stdexcept>
#include <vector>

#include "conformance/Caller.h"
#include "navo/Vocabulary.h"

namespace Conformance {

namespace {

bool Become(unsigned user) {
    return setgroups(0, nullptr) == 0 && setgid(user) == 0 && setuid(user) == 0;
}

// What this process does for the one that started it. Sessions end with it, whatever its orders were.
class Servant {
public:
    explicit Servant(const OtherClient::Order& order) : caller(order.busAddress, order.limit) {}
    ~Servant() {
        for (; opened > 0; --opened) {
            static_cast<void>(caller.Session("Close"));
        }
    }
    Servant(const Servant&) = delete;
    Servant& operator=(const Servant&) = delete;

    std::string Obey(const std::string& order) {
        if (order == "Open") {
            ++opened;
            return caller.Open().ReturnCode();
        }
        if (order == "Close") {
            --opened;
            return caller.Session(order).ReturnCode();
        }
        return caller.Cmd({{Navo::Key::Cmd, order}}).ReturnCode();
    }

private:
    Caller caller;
    int opened = 0;
};

}  // namespace

OtherClient::OtherClient(const Order& order) {
    std::vector<std::string> words = {
        "/proc/self/exe", "--bus", order.busAddress, "--patience", std::to_string(order.limit.count() / 1000),
        "--as-client"};
    if (order.user) {
        words.insert(words.end(), {"--as-user", std::to_string(*order.user)});
    }
    std::vector<gchar*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    gint input = -1;
    gint output = -1;
    if (g_spawn_async_with_pipes(
            nullptr, arguments.data(), nullptr, G_SPAWN_DO_NOT_REAP_CHILD, nullptr, nullptr, &process, &input,
            &output, nullptr, nullptr) == FALSE) {
        throw std::runtime_error("no second process could be started");
    }
    orders.reset(fdopen(input, "w"));
    answers.reset(fdopen(output, "r"));
}

OtherClient::~OtherClient() {
    orders.reset();
    waitpid(process, nullptr, 0);
    g_spawn_close_pid(process);
}

void OtherClient::Ask(const std::string& what) {
    std::fputs((what + "\n").c_str(), orders.get());
    std::fflush(orders.get());
}

OtherAnswer OtherClient::Await() {
    std::string line;
    for (int character = 0; (character = std::fgetc(answers.get())) != '\n';) {
        if (character == EOF) {
            throw std::runtime_error("the second client has ended");
        }
        line += static_cast<char>(character);
    }
    const std::size_t blank = line.find(' ');
    return {std::stoll(line.substr(0, blank)), line.substr(blank + 1)};
}

OtherAnswer OtherClient::AskAndAwait(const std::string& what) {
    Ask(what);
    return Await();
}

int OtherClient::Serve(const Order& order) {
    if (order.user && !Become(*order.user)) {
        return 1;
    }
    std::string line;
    std::optional<Servant> servant;
    while (std::getline(std::cin, line)) {
        std::string answer;
        try {
            if (!servant) {
                servant.emplace(order);
            }
            answer = servant->Obey(line);
        } catch (const Navo::ClientError& error) {
            answer = "<" + std::string(Navo::NameOf(error.Kind())) + ">";
        }
        std::cout << g_get_monotonic_time() << " " << answer << std::endl;
    }
    return 0;
}

}  // namespace Conformance
