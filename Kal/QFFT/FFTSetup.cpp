#include "Kal/QFFT/FFTSetup.h"

#include "Kal/QFFT/Exception.h"
#include "Kal/QFFT/MultidimensionalFFTSetup.h"
#include "Kal/QFFT/StandardFFTSetup.h"

#include <algorithm>

namespace qfft {
namespace {

template<DataType type>
std::unique_ptr<FFTSetup> CreateStandard(const FFTParam& param)
{
    constexpr auto level = cpu::FeatureLevel::Generic;
    if (param.backward) return std::make_unique<StandardFFTSetup<level, type, true>>(param);
    return std::make_unique<StandardFFTSetup<level, type, false>>(param);
}

} // namespace

std::unique_ptr<FFTSetup> CreateFFTSetup(const FFTParam& param)
{
    if (param.size.empty()) throw Exception("The number of dimensions is zero.");
    if (std::find(param.size.begin(), param.size.end(), 0u) != param.size.end()) throw Exception("Zero size.");
    if (param.size.size() > 1) return std::make_unique<MultidimensionalFFTSetup>(param);
    switch (DataType(param.dataType)) {
    case DataType::Single:
        return CreateStandard<DataType::Single>(param);
    case DataType::Double:
        return CreateStandard<DataType::Double>(param);
    }
    throw Exception("Invalid data type.");
}

} // namespace qfft
