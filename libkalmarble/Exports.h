#pragma once

#include "Kal/Base/KalLock.h"
#include "Kal/Base/KalTypes.h"
#include "include/KALMarble.h"
#include "libkalmarble/Context.h"
#include "libkalmarble/LastError.h"

#include <memory>

namespace kalmarble {

/// What stands behind a host's `priv`.
struct ContextPrivate {
    std::shared_ptr<Context> context; ///< empty until Init succeeds; guarded by contextMutex
    InitParam param{};                ///< of the latest Init
    LastError lastError;
    kal::Mutex contextMutex; ///< lets Init replace the context while Render runs; held for a copy of the pointer only

    /// [any] The context, kept alive for the caller. Throws "Not initialized."
    std::shared_ptr<Context> Initialized();
};

/// The host's record and the entry points that KalInitialize puts into it. Each checks its arguments in order,
/// forwards, and stores the text of any failure; see the host's header for what each does.
struct KalContext : ::KalContext {
    /// [control]
    static void KAL_CALL Init(ContextPrivate* priv, const InitParam* param);
    /// [any]
    static void KAL_CALL Destroy(ContextPrivate* priv);
    static const char* KAL_CALL CheckError(ContextPrivate* priv);
    /// [control]
    static Buffer* KAL_CALL CreateBuffer(ContextPrivate* priv, const BufferParam* param);
    static void KAL_CALL FreeBuffer(ContextPrivate* priv, Buffer* buffer);
    static void KAL_CALL Respatialize(ContextPrivate* priv, const KalVector3* eye, const KalVector3* front,
                                      const KalVector3* up, const ReverbParam* reverb);
    static void KAL_CALL PlayAbsolute(ContextPrivate* priv, Buffer* buffer, const KalVector3* origin,
                                      const PlayParam* params);
    static void KAL_CALL PlayRelative(ContextPrivate* priv, Buffer* buffer, const KalVector3* origin,
                                      const PlayParam* params);
    static void KAL_CALL PlayLocal(ContextPrivate* priv, Buffer* buffer, const PlayParam* params);
    /// [audio]
    static void KAL_CALL Render(ContextPrivate* priv, float* stream, int numFrames);
};

} // namespace kalmarble
