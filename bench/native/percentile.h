// The p-th quantile (0..1) of a benchmark's samples, by the nearest rank
// below; -1 when there are none.
#ifndef BENCH_NATIVE_PERCENTILE_H
#define BENCH_NATIVE_PERCENTILE_H

#include <algorithm>
#include <cstddef>
#include <vector>

inline long long Percentile(std::vector<long long> values, double p)
{
    if (values.empty()) {
        return -1;
    }
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, static_cast<size_t>(p * static_cast<double>(values.size())))];
}

#endif // BENCH_NATIVE_PERCENTILE_H
