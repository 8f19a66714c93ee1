#pragma once

#include "Kal/QFFT/Exception.h"

namespace kal {

/// Thrown for invalid arguments and data. Its text is a fixed English sentence; what() reaches the host unchanged.
using Exception = qfft::PrintfException<struct ExceptionTag>;

} // namespace kal
