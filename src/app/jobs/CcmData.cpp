// SPDX-License-Identifier: Apache-2.0
#include "app/jobs/CcmData.h"

#include "app/Lccm.h"
#include "app/ResultCode.h"
#include "common/Debug.h"
#include "common/Utils.h"

void Na::Job_HANDLE_CCM_DATA::Execute() {
    LogPrint(LogInfo, "info: Handle ccm data");
    SetResultCode(ResultCode::UnknownError);
    const std::string script = request->data[Key::CcmScriptData];
    LogPrint(LogTrace, JOB_LOCATED("CCM[%d]: %s"), static_cast<int>(script.size()), script.c_str());
    result[Key::LccmReturnCode] = "-5";  // stands when a record is too short to be a command
    Lccm lccm;
    LogPrint(LogTrace, JOB_LOCATED(""));
    const int verdict = lccm.handleCcmScript(script);
    LogPrint(LogTrace, JOB_LOCATED(""));
    result[Key::LccmReturnCode] = IntToString(verdict, 10);
}
