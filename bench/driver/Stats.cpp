#include "Stats.h"

#include <algorithm>
#include <cmath>

namespace {

// The value at @p part of the way through sorted samples, between two of them if need be.
double QuantileOfSorted(const std::vector<double>& sorted, double part) {
    const double position = part * static_cast<double>(sorted.size() - 1);
    const auto below = static_cast<std::size_t>(position);
    const std::size_t above = std::min(below + 1, sorted.size() - 1);
    const double weight = position - static_cast<double>(below);
    return sorted[below] * (1 - weight) + sorted[above] * weight;
}

} // namespace

Stats::Spread Stats::Of(std::vector<double> samples) {
    Spread spread;
    if (samples.empty()) {
        return spread;
    }
    std::sort(samples.begin(), samples.end());
    spread.count = samples.size();
    spread.median = QuantileOfSorted(samples, 0.5);
    spread.q1 = QuantileOfSorted(samples, 0.25);
    spread.q3 = QuantileOfSorted(samples, 0.75);
    // How many samples lie below the true median is binomial; 1.96 standard deviations of that.
    const double reach = 0.98 / std::sqrt(static_cast<double>(samples.size()));
    spread.low95 = QuantileOfSorted(samples, std::max(0.0, 0.5 - reach));
    spread.high95 = QuantileOfSorted(samples, std::min(1.0, 0.5 + reach));
    return spread;
}

double Stats::Quantile(std::vector<double> samples, double part) {
    std::sort(samples.begin(), samples.end());
    return samples.empty() ? 0 : QuantileOfSorted(samples, part);
}

std::vector<double> Stats::Ratios(const std::vector<double>& of, const std::vector<double>& to) {
    std::vector<double> ratios;
    for (std::size_t pair = 0; pair < of.size() && pair < to.size(); ++pair) {
        ratios.push_back(of[pair] / to[pair]);
    }
    return ratios;
}
