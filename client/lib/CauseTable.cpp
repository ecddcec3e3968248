// SPDX-License-Identifier: Apache-2.0
#include "client/lib/CauseTable.h"

#include <iterator>

namespace Navo {
namespace {

// Where a look helps with more than one code.
constexpr char Log[] =
    "The service's log names the platform function and its error (journalctl -u navoagent).";
constexpr char Server[] =
    "The service passes this code on: the reason stands in the key server's log or record.";
constexpr char Unused[] =
    "This service never says so by itself; if it came, the key server sent it: see its log.";
constexpr char Library[] =
    "What the device has installed: navoctl doctor, or the service's log (journalctl -u navoagent).";

constexpr CauseRow ResultCodes[] = {
    {"00000000", "The server has commands for the card; a job never ends with this code.",
     "A client that gets it talks to something that is not this service."},
    {"00000001",
     "The job is done. A job that was stopped by the card before the server was asked may say so too.",
     "Judge by the reply's shape; of a run, by whether there was progress."},
    {"00000002", "The job is done, but NFC was late to switch off.", "Nothing, unless it happens each time."},
    {"00000009", "The server does not know the session any more and wants the job from its beginning.",
     "Run it again. If it comes at once again, the server was restarted or forgets sessions too early."},
    {"10000000",
     "Something failed for which there is no code of its own: most often the secure element did not open, "
     "or the device's settings could not be read.",
     "The service's log names the platform function and its error (journalctl -u navoagent). On the desk, "
     "check the device's configuration: navo-device check FILE."},
    {"10000001", "The command is none of the service's, or one for privileged clients only.",
     "Which package and certificate the device knows for the calling program."},
    {"10000002", "A command got no answer from the card, or could not be sent to it.",
     "Whether the card is still there; the service's log names the platform function and its error "
     "(journalctl -u navoagent)."},
    {"10000003", "The card has no answer to reset.", Unused},
    {"10000004", "The card production life cycle data is missing.", Unused},
    {"10000005", "The secure element has no identifier.", Unused},
    {"10100000", "The device says that it has no network.",
     "The device's connection; on the desk [network] in its "
     "configuration."},
    {"10100001", "A socket could not be bound.", Unused},
    {"10100002", "The server refused access to what was asked for.",
     "Address and account rules of the server."},
    {"10100003", "A request that has to be sent again could not be.", "Run it again."},
    {"10100004", "The stored address of the server is no address.",
     "The address itself, and store it anew: navoctl set-address https://HOST[:PORT]."},
    {"10100005",
     "The server cannot be reached: its name is not known, nothing listens there, or the TLS handshake "
     "broke off.",
     "navoctl doctor tries address, connection and certificate one by one."},
    {"10100006", "The server's port is closed.", Unused},
    {"10100007",
     "The exchange with the server failed below HTTP: often its certificate is not trusted or is for another "
     "name; also a broken proxy or a client that has gone.",
     "navoctl doctor shows the certificate chain; the service's log has libcurl's own words (journalctl -u "
     "navoagent)."},
    {"10100008", "The exchange with the server failed below HTTP.", Unused},
    {"10100009", "The server did not answer in time.",
     "Whether the server is busy or a firewall drops what is sent."},
    {"10100010", "The server's name is not known.", Unused},
    {"10100011", "The server met something that it does not know.", Server},
    {"10100012", "A text is no address.", Unused},
    {"10100013", "The server packed its answer in a way that is not understood.",
     "Content-Encoding of the server."},
    {"10100014", "The request could not be made as HTTP.",
     "The stored address; the service's log names the platform function and its error (journalctl -u "
     "navoagent)."},
    {"10100015", "Input or output failed at the server.", Server},
    {"10100016",
     "A command set of the server is malformed: a command without digits, of one digit, or too long.",
     "The set that the server sent: its record, or the service's log."},
    {"10100017",
     "A message came at a time when the server did not expect it, for example for a session that is over.",
     Server},
    {"10100018", "No connection to the server became free in time.", Unused},
    {"10100019",
     "The server ended the connection without an answer, or its answer is no readable JSON object.",
     "The server's log; whether something else than a key server listens at the stored address."},
    {"10100020", "The network went away during the exchange.", "Run it again."},
    {"10100021", "The network went away during the exchange.", "Run it again."},
    {"10200000", "Something about TLS failed, the server says.", Server},
    {"10200001", "The server's keys do not fit: after a key change, the card's check values differ.", Server},
    {"10200002", "The server has not the keys of the version that the card uses.",
     "Key versions of the server's catalogue and of the card; the service passes this code on: the reason "
     "stands in the key server's log or record."},
    {"10200003", "The card speaks a secure channel protocol that the server does not.", Server},
    {"10200004", "The server's key store failed.", Server},
    {"10200005", "The server has a problem with a certificate.", Server},
    {"10300000", "The request is empty.", "The map that the client sent."},
    {"10300004",
     "The request is not valid: the service could not read \"Cmd\", or the server does not know the service "
     "identifier or cannot read the message.",
     "--service-id against what the server serves; the server's log names what it missed."},
    {"10300005", "The request has no \"Cmd\".", "The map that the client sent."},
    {"10300006", "The message to the server has no identifier of the secure element.", Server},
    {"10300007", "The message to the server has no CPLC.",
     "Whether navoctl cplc works; the service passes this code on: the reason stands in the key server's log "
     "or record."},
    {"10300008", "The message to the server has no service identifier.", "--service-id of the run."},
    {"10300009", "The identifier of the secure element has the wrong length.", Server},
    {"10300010", "The CPLC has the wrong length.", Server},
    {"10300011", "The service identifier has the wrong length.", Server},
    {"10300012",
     "CPLC and identifier of the secure element do not belong together, or changed within a session.",
     Server},
    {"10300013", "The function identifier is missing.", "--fc-id of the run."},
    {"10300014", "The server is still busy with an earlier job.", "Run it again later."},
    {"10400001", "The channel to the secure element is open; a job that ends so did nothing with it.", Log},
    {"10400002", "The channel to the secure element is closed.", Unused},
    {"10400003", "There is no secure element.", Unused},
    {"10400004", "A job is running.", Unused},
    {"10400005", "The channel to the secure element could not be closed.", Log},
    {"10400006", "The device does not let this service use the secure element.",
     "Access rules of the device, and the certificate that the service is signed with."},
    {"10400007", "The secure element may not be used.", Unused},
    {"10400008", "The secure element did not open in time.", Unused},
    {"10400009", "NFC has to be switched.", Unused},
    {"10500006", "The server still checks the device; the service has asked three times.",
     "Run it again later."},
    {"1050000x", "The server does not serve this device.", Server},
    {"10600001", "The server's address was changed.", Unused},
    {"10600002", "The server's address was not changed.", Unused},
    {"2000000x", "A code of the server's own.", Server},
    {"201000xx", "A code of the server's own.", Server},
    {"202000xx", "A code of the server's own.", Server},
    {"203000xx", "A code of the server's own.", Server},
    {"90202001", "The card answered a command with a status word that the server did not expect.",
     "The key server's log names command, answer and what was expected; then navoctl explain STATUS-WORD."},
    {"90202002", "The server got another number of answers than it sent commands.", Server},
    {"90202003", "The server got a set of answers that is none.", Server},
    {"90202004",
     "The service could not relay the server's commands: the card gave no answer, or a command was "
     "malformed.",
     "The card; the service's log (journalctl -u navoagent); the server's record has the text that came "
     "instead."},
    {"90202005", "The card's answer makes no sense to the server.", Server},
    {"90202008", "The server wants a newer version of the service.", "Versions on both sides."},
    {"90202009",
     "The card proves itself with other keys than the server has, or an authorization code is wrong.",
     "The keys of the server's catalogue against those of the card. Do not try often: cards count failed "
     "attempts."},
    {"902020xx", "The job failed between the server and the secure element.", Server},
};

constexpr char Keys[] = "The keys and the security level on both sides; a card counts failed attempts.";
constexpr char Command[] =
    "Class, instruction and parameters of the command against the card's documentation.";
constexpr char Content[] = "What the card holds: list applications and load files (GET STATUS).";

constexpr CauseRow StatusWords[] = {
    {"9000", "Success.", ""},
    {"61xx", "The card has more bytes to give; the last byte says how many.",
     "The service fetches them itself (GET RESPONSE)."},
    {"6200", nullptr, "The data that came with it."},
    {"6283", nullptr, "The card's life cycle; a locked card serves few commands."},
    {"6300", nullptr, Keys},
    {"6310", nullptr, "Ask on with the next-occurrence bit."},
    {"63Cx", "A check failed; the last digit tells how many tries are left.", Keys},
    {"6400", nullptr, "Whether the card still works; try again once."},
    {"6581", nullptr, "The card's memory may be worn out or full."},
    {"6700", nullptr, "Lc and Le of the command; under a secure channel, the length with the MAC."},
    {"6881", nullptr, "The channel number in the class byte."},
    {"6882", nullptr, "The security bits in the class byte."},
    {"6982", nullptr, "Whether a secure channel is open, and with the level that the command needs."},
    {"6983", nullptr, "Too many failed attempts: the key or the card is blocked."},
    {"6984", nullptr, "The state of what the command refers to."},
    {"6985", nullptr, "The state of the card or application, and the order of commands."},
    {"6987", nullptr, Keys},
    {"6988", nullptr, Keys},
    {"6A80", nullptr, "The data field: tags, lengths, AIDs, hashes."},
    {"6A81", nullptr, "The card's life cycle, and what the application supports."},
    {"6A82", nullptr, Content},
    {"6A84", nullptr, "navoctl memory; delete what is not needed."},
    {"6A86", nullptr, Command},
    {"6A88", nullptr, Content},
    {"6Cxx", "Wrong expected length; the last byte is the right one.",
     "The service asks again with it by itself."},
    {"6Dxx", "The instruction is not supported.", "Which application is selected."},
    {"6Exx", "The class is not supported.", "The class byte, and which application is selected."},
    {"6Fxx", "No precise diagnosis.", "The commands before this one."},
    {"9484", nullptr, "Key type and algorithm of the PUT KEY."},
    {"9485", nullptr, "The key and its check value in the PUT KEY; the key that encrypts it."},
    {"62xx", "A warning; nothing was changed.", Command},
    {"63xx", "A warning; something was changed.", Command},
    {"64xx", "An execution error; nothing was changed.", Command},
    {"65xx", "An execution error; something was changed.", Command},
    {"69xx", "The command is not allowed as things are.", Command},
    {"6Axx", "The parameters or the data are wrong.", Command},
    {"6Bxx", "Wrong P1 or P2.", Command},
    {"9xxx", "The application's own; the standards say nothing of it.",
     "The documentation of the selected application."},
};

constexpr char Address[] = "The stored address: /IssueCard.do is put behind it.";

constexpr CauseRow HttpStatuses[] = {
    {"200", "The server answered.", "A job never ends with this number: its answer has a result code."},
    {"400", "The server cannot read the request.", "The server's log; whether a proxy changes the body."},
    {"401", "The server or a proxy wants a log-in, which the service has not.", Address},
    {"403", "The server or a proxy forbids it.", "The server's rules for the device's address."},
    {"404", "The server has nothing at that address.", Address},
    {"405", "The server takes no POST at that address.", Address},
    {"407", "The proxy wants a log-in.", "The device's proxy settings."},
    {"408", "The request took too long to arrive.", "The device's network."},
    {"413", "The answers of the card are too long for the server.", "The server's limit of a body."},
    {"429", "The server is asked too often.", "Wait, then run it again."},
    {"431", "The head of the request is too long for the server.",
     "Cookies of the server, which the service sends back."},
    {"500", "The server failed.", "The server's log."},
    {"501", "The server cannot do that.", "Whether a key server listens at the stored address."},
    {"502", "A gateway got no sense out of the server behind it.", "The server behind the gateway."},
    {"503", "The server is overloaded or down for maintenance.", "Wait, then run it again."},
    {"504", "A gateway got no answer from the server behind it in time.", "The server behind the gateway."},
    {"1xx", "The server wants to go on with something that the service does not know.", Address},
    {"2xx", "The server answered with something that is no answer to a message.", Address},
    {"3xx", "The server sent the service elsewhere without saying where.", Address},
    {"4xx", "The server refuses the request.", "The server's log."},
    {"5xx", "The server failed.", "The server's log."},
};

constexpr CauseRow CcmVerdicts[] = {
    {"0", "Every command of the script was sent and accepted.", ""},
    {"-2", "The secure-SPI library, or one of its functions, is missing on this device.", Library},
    {"-3", "The secure SPI channel or the secure element could not be opened.",
     "Whether another program has the secure element; the service's log names the platform function and its "
     "error (journalctl -u navoagent)."},
    {"-4", "The script was not converted: it is empty, damaged, or longer than 92160 bytes.",
     "The script's file."},
    {"-5", "The card refused a command of the script, or gave no answer to it.",
     "The last progress line names the command; the service's log has the card's answer."},
};

constexpr CauseRow KeyVerdicts[] = {
    {"0", "The library did what was asked.", ""},
    {"-2", "The key-provisioning library, or the function that was asked for, is missing on this device.",
     Library},
    {"-4", "The request has no size for the data to return.", "--size of the command."},
    {"-10", "The request has no injection type, or one that is not 1, 2 or 4.",
     "--injection of the command."},
    {"-11", "The request has no key type, or one that is not 1 or 2.", "--type of the command."},
    {"-12", "The request has no key name.", "The name in the command."},
    {"-13", "The request has no encoding, or one that is not 1, 2 or 4.", "--encoding of the command."},
    {"-30",
     "The size is not from 1 to 10000, the key data is missing or longer than 10000 characters, or an "
     "injection has no type or encoding.",
     "--size, --data, --type and --encoding of the command."},
    {"-x", "This is the key-provisioning library's own number; its reason may stand in the device's log.",
     "The library's documentation and the device's log."},
};

constexpr CauseRow Errors[] = {
    {"no-bus", "There is no bus, or it lets this process not in.",
     "DBUS_SYSTEM_BUS_ADDRESS where a bus of one's own is meant; systemctl status dbus."},
    {"service-unreachable",
     "Nobody has the service's name and the bus cannot start it, or forbids to call it.",
     "navoctl doctor; whether you are in the group navo (id); systemctl status navoagent."},
    {"session-refused", "The service has a session of this process already.",
     "One session for each process."},
    {"session-lost", "The service that held the session has ended; the request was not run.",
     "Open a new session."},
    {"service-ended", "The service or the bus ended while the request ran; what became of it is unknown.",
     "journalctl -u navoagent says why it ended. Look at the card before running it again."},
    {"timed-out",
     "No answer came in time. The request may still be running, or waiting behind another client's.",
     "The service works for one client at a time; navoctl monitor shows what it does."},
    {"cancelled", "This side gave up waiting; the request may still be running.", ""},
    {"unexpected-reply", "Who has the service's name is not this service, or the bus answered in its place.",
     "Who owns com.orvenco.navoa: busctl status com.orvenco.navoa."},
    {"invalid-request", "The request was not sent: a text is no UTF-8, or the session is closed.",
     "The request."},
    {"job-failed", "The service ran the request and reported a failure.",
     "The code or verdict that came with it: navoctl explain CODE."},
};

template <std::size_t Count>
std::vector<CauseRow> Copy(const CauseRow (&rows)[Count]) {
    return {std::begin(rows), std::end(rows)};
}

}  // namespace

std::vector<CauseRow> CauseRows(CauseKind kind) {
    switch (kind) {
        case CauseKind::ResultCode:
            return Copy(ResultCodes);
        case CauseKind::StatusWord:
            return Copy(StatusWords);
        case CauseKind::HttpStatus:
            return Copy(HttpStatuses);
        case CauseKind::CcmVerdict:
            return Copy(CcmVerdicts);
        case CauseKind::KeyVerdict:
            return Copy(KeyVerdicts);
        case CauseKind::Error:
            return Copy(Errors);
    }
    return {};
}

}  // namespace Navo
