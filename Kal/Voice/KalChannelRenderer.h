#pragma once

#include "Kal/Base/KalTypes.h"
#include "Kal/Voice/KalChannelHost.h"
#include "Kal/Voice/KalChannelParam.h"
#include "Kal/Voice/KalRenderer.h"

#include <memory>

namespace kal {

/// How a renderer interpolates between frames. Voices are linear; the others are complete, interchangeable and kept on
/// purpose: nothing selects them.
enum class Interpolation { Nearest, Linear, Cubic };

/// [control] Makes the renderer of a voice: two channels go straight to the mix; one channel goes to the spatializer
/// when the record asks for it and there is one, else to both sides of the mix.
/// @param buffer outlives the renderer  @param param the voice's record, outlives the renderer and is read live
/// Throws "Invalid channel count: %d" unless 1 or 2, "Invalid audio format: %d" unless 0, 1 or 2.
std::unique_ptr<Channel::Renderer> MakeRenderer(Interpolation interpolation, ChannelHost& engine, const Buffer& buffer,
                                                ChannelParam& param);

} // namespace kal
