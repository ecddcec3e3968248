// SPDX-License-Identifier: Apache-2.0
// What a client reads of a result: the code's text, "_" and its description. The names are those of
// Na::ResultCode where the service has one for the code.
#pragma once

namespace ResultText {

constexpr char CommandSetToRun[] = "00000000_C-APDU exists";
constexpr char Done[] = "00000001_The job has done successfully";
constexpr char DoneButNfcOff[] =
    "00000002_The job has done successfully. But, a timeout has occurred on NFC off";
constexpr char Retry[] = "00000009_Retry the request of Job from the beginning";

constexpr char UnknownError[] = "10000000_An unknown Error has occurred";
constexpr char WrongCommand[] = "10000001_Invalid Cmd parameter is being used";
constexpr char NoApdu[] = "10000002_APDU is not available";

constexpr char NetworkUnavailable[] = "10100000_Network is unavailable";
constexpr char ConnectionRefused[] =
    "10100002_A connection is refused to the remote host for a remote method call";
constexpr char TemporarilyUnavailable[] =
    "10100003_A HTTP request needs to be retried but cannot be retried automatically, due to streaming mode "
    "being enabled";
constexpr char MalformedUrl[] = "10100004_A malformed URL has occurred";
constexpr char HostUnreachable[] =
    "10100005_The remote host cannot be reached because of an intervening firewall, or if an intermediate "
    "router is down";
constexpr char ProtocolError[] = "10100007_There is an error in the underlying protocol, such as a TCP error";
constexpr char TimedOut[] = "10100009_A timeout has occurred on a socket read or accept";
constexpr char BadContentEncoding[] = "10100013_The Character Encoding is not supported";
constexpr char NoResponseFromServer[] = "10100019_No response has been received from a Server system";

constexpr char RequestEmpty[] = "10300000_NAVOData is null";
constexpr char CommandUnreadable[] = "10300004_NAVOData is invalid";
constexpr char CommandMissing[] = "10300005_CMD is null";
constexpr char NoServiceId[] = "10300008_ServiceID is null";

constexpr char ElementNotClosed[] = "10400005_eSE interface channel is not closed";
constexpr char ElementRefused[] = "10400006_No permission to access eSE";

constexpr char DeviceNotAvailable1[] = "10500001_This device is not available";
constexpr char DeviceNotAvailable3[] = "10500003_This device is not available";
constexpr char PleaseWait[] = "10500006_Eligibility All mode is working. Please wait";

constexpr char AddressChanged[] = "10600001_IP/Port is Successfully Changed";
constexpr char AddressNotChanged[] = "10600002_IP/Port is Fail Changed";

constexpr char CardJobFailed[] =
    "90202001_An error occurred during the execution of a job between NAVO and eSE";
constexpr char NotRelayed[] = "90202004_An error occurred during the execution of a job between NAVO and eSE";

}  // namespace ResultText
