// SPDX-License-Identifier: Apache-2.0
// The system bus with the shipped policy and accounts of its own: started by root, in a mount namespace where
// the lists of users and groups are the test's. Nothing of the machine's accounts is touched.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

struct Account {
    const char* name;
    uid_t user;
    std::vector<gid_t> groups;  // beside the one that has the user's number
};

// Root, the service's own, one of the group whose members may talk to it, and one of nothing.
const Account& Root();
const Account& Service();
const Account& Member();
const Account& Stranger();
// One of the group "secure-element", which nothing that ships knows of.
const Account& Application();

class AccountsBus {
public:
    // Why none can be had on this machine; empty when it can.
    static std::string Impediment();

    // Returns when the bus takes connections; with a further policy unless that is empty.
    explicit AccountsBus(const std::string& policy = {});
    ~AccountsBus() = default;
    AccountsBus(const AccountsBus&) = delete;
    AccountsBus& operator=(const AccountsBus&) = delete;

    std::unique_ptr<Process> Start(const Account& account, const std::vector<std::string>& command);

    struct Result {
        ExitStatus status;
        std::string output;  // and errors behind it
    };
    Result Run(const Account& account, const std::vector<std::string>& command);

    // The service itself with an account; returns when it has its name.
    std::unique_ptr<Process> StartService(const Account& account);

    // What the service does with its server's address at the next start.
    void StoreAddress(const std::string& address) const;

    // The bus's own answer to a call of one of its methods.
    Result AskBus(
        const Account& account, const std::string& method, const std::vector<std::string>& arguments);

    const std::filesystem::path& Folder() const { return folder.Path(); }

private:
    void Install(const std::string& policy) const;

    TemporaryFolder folder;
    std::unique_ptr<Process> bus;
    int programs = 0;
};
