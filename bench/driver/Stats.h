// Medians with their spread. Nothing is discarded: every sample counts.
#pragma once

#include <cstddef>
#include <vector>

namespace Stats {

struct Spread {
    double median = 0;
    double q1 = 0;
    double q3 = 0;
    double low95 = 0;  ///< the median's 95 % confidence interval, from the order of the samples
    double high95 = 0; ///< (no assumption about how they are distributed)
    std::size_t count = 0;
};

Spread Of(std::vector<double> samples);

/** @return the sample at @p part of the way from the smallest to the largest; 0 without samples */
double Quantile(std::vector<double> samples, double part);

/** The ratios of samples taken pair by pair. */
std::vector<double> Ratios(const std::vector<double>& of, const std::vector<double>& to);

} // namespace Stats
