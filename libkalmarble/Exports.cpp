#include "libkalmarble/Exports.h"

#include "Kal/Base/KalException.h"
#include "Kal/Base/KalThread.h"
#include "libkalmarble/FloatState.h"

#include <exception>
#include <memory>
#include <mutex>

namespace kalmarble {

namespace {

kal::Vector3 FromHost(const KalVector3& v)
{
    return {v.x, v.y, v.z};
}

// Runs one entry's body in the floating-point state that it is written for; a failure becomes the sticky text and an
// empty result.
template<class Body>
auto Guarded(ContextPrivate* priv, Body body) -> decltype(body())
{
    const ScopedFloatState floatState;
    try {
        return body();
    } catch (const std::exception& error) {
        priv->lastError.Set(error.what());
    }
    return decltype(body())();
}

void Require(const void* argument, const char* message)
{
    if (!argument) throw kal::Exception("%s", message);
}

using PlayAt = void (Context::*)(const Buffer&, const kal::Vector3&, const PlayParam&);

void PlayPositional(ContextPrivate* priv, PlayAt play, const Buffer* buffer, const KalVector3* origin,
                    const PlayParam* params)
{
    Guarded(priv, [&] {
        const auto context = priv->Initialized();
        Require(buffer, "Parameter buffer is null.");
        Require(origin, "Parameter origin is null.");
        Require(params, "Parameter params is null.");
        (context.get()->*play)(*buffer, FromHost(*origin), *params);
    });
}

} // namespace

std::shared_ptr<Context> ContextPrivate::Initialized()
{
    std::lock_guard lock(contextMutex);
    if (!context) throw kal::Exception("Not initialized.");
    return context;
}

void KalContext::Init(ContextPrivate* priv, const InitParam* param)
{
    // Not thrown: what catches exceptions may have been taken down.
    if (kal::ThreadsAreGone()) return priv->lastError.Set("The process is ending.");
    Guarded(priv, [&] {
        priv->param = *param;
        auto context = std::make_shared<Context>(priv->param);
        std::lock_guard lock(priv->contextMutex);
        priv->context.swap(context);
    });
}

void KalContext::Destroy(ContextPrivate* priv)
{
    // The threads may have held locks when they went; memory goes with the process.
    if (!kal::ThreadsAreGone()) delete priv;
}

const char* KalContext::CheckError(ContextPrivate* priv)
{
    return priv->lastError.Get();
}

Buffer* KalContext::CreateBuffer(ContextPrivate* priv, const BufferParam* param)
{
    return Guarded(priv, [&] {
        priv->Initialized();
        Require(param, "Parameter is null.");
        return new Buffer(*param);
    });
}

void KalContext::FreeBuffer(ContextPrivate* priv, Buffer* buffer)
{
    Guarded(priv, [&] {
        priv->Initialized();
        Require(buffer, "Parameter is null.");
        delete buffer;
    });
}

void KalContext::Respatialize(ContextPrivate* priv, const KalVector3* eye, const KalVector3* front,
                              const KalVector3* up, const ReverbParam* reverb)
{
    Guarded(priv, [&] {
        const auto context = priv->Initialized();
        Require(eye, "Parameter eye is null.");
        Require(front, "Parameter front is null.");
        Require(up, "Parameter up is null.");
        Require(reverb, "Parameter reverb is null.");
        context->Respatialize(FromHost(*eye), FromHost(*front), FromHost(*up), *reverb);
    });
}

void KalContext::PlayAbsolute(ContextPrivate* priv, Buffer* buffer, const KalVector3* origin, const PlayParam* params)
{
    PlayPositional(priv, &Context::PlayAbsolute, buffer, origin, params);
}

void KalContext::PlayRelative(ContextPrivate* priv, Buffer* buffer, const KalVector3* origin, const PlayParam* params)
{
    PlayPositional(priv, &Context::PlayRelative, buffer, origin, params);
}

void KalContext::PlayLocal(ContextPrivate* priv, Buffer* buffer, const PlayParam* params)
{
    Guarded(priv, [&] {
        const auto context = priv->Initialized();
        Require(buffer, "Parameter buffer is null.");
        Require(params, "Parameter params is null.");
        context->PlayLocal(*buffer, *params);
    });
}

void KalContext::Render(ContextPrivate* priv, float* stream, int numFrames)
{
    Guarded(priv, [&] {
        const auto context = priv->Initialized();
        Require(stream, "Parameter stream is null.");
        context->Render(stream, numFrames);
    });
}

} // namespace kalmarble

#ifdef _WIN32
#define KAL_EXPORT // the .def file exports it
#else
#define KAL_EXPORT __attribute__((visibility("default")))
#endif

extern "C" KAL_EXPORT const char* KAL_CALL KalInitialize(uint32_t magic, int32_t interfaceVersion, KalContext* out)
{
    using Table = kalmarble::KalContext;
    if (magic == 0) return "Magic is invalid.";
    if (!out) return "Null pointer for context return destination!";
    if (interfaceVersion != KAL_INTERFACE_VERSION) return "Interface version unmatch. This library's version is '1'.";

    auto* const priv = new kalmarble::ContextPrivate;
    out->init = Table::Init;
    out->destroy = Table::Destroy;
    out->checkError = Table::CheckError;
    out->createBuffer = Table::CreateBuffer;
    out->freeBuffer = Table::FreeBuffer;
    out->respatialize = Table::Respatialize;
    out->playAbsolute = Table::PlayAbsolute;
    out->playRelative = Table::PlayRelative;
    out->playLocal = Table::PlayLocal;
    out->render = Table::Render;
    out->priv = priv;
    return nullptr;
}
