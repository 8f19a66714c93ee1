#pragma once

#include <vector>

namespace kal {

/// Finds where a value lies among ascending keys. The keys are used in the order in which they were added.
class InterpolationHelper {
public:
    /// x = (1 - fraction) keys[index0] + fraction keys[index1], x being limited to the range of the keys.
    struct Result {
        int index0;
        int index1;
        float fraction; ///< 0 ... 1; 0.5 at both ends, where the two indices are equal
    };

    /// [control] Appends a key, which must not be less than the last one.
    void AddKey(float key) { keys.push_back(key); }

    /// [render] Index of the key that is nearest to x; of two equally near ones the upper. Asserts that there are keys
    /// and that x is a number.
    int ChooseNearest(float x) const;

    /// [render] The keys around x. Asserts as ChooseNearest does.
    Result Interpolate(float x) const;

private:
    std::vector<float> keys;
};

} // namespace kal
