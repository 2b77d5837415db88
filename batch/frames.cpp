// The batch frame stack: closing and popping frames.
#include "core/bdx.h"
#include "core/instance.h"

void CloseBatchFile() {
    BATCHFRAME *frame = CurrentFrame();
    if (!frame || frame->hFile == INVALID_HANDLE_VALUE || frame->hFile == BTM_IN_MEMORY) return;
    CloseHandle(frame->hFile);
    frame->hFile = INVALID_HANDLE_VALUE;
}

int ExitBatchFile() {
    TLS_VARIABLES *tls = GetTLS();
    BATCHFRAME *frame = CurrentFrame();
    if (!frame || tls->nBatchFrame <= tls->nInheritedFrame || frame->sBatchName.empty()) return 2;
    CloseBatchFile();
    tls->aBatchFrames.pop_back();
    tls->nBatchFrame--;
    UpdateTitleAndIcon(nullptr, 0);
    return 0;
}
