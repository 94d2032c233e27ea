// SPDX-License-Identifier: Apache-2.0
#include "engine/statistics/ChartFormulas.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "engine/statistics/ControlConstants.h"
#include "engine/statistics/Moments.h"
#include "platform/NaN.h"

namespace orvspc::engine::statistics {

namespace {

using platform::kNaN;

void ExpectLimits(PointLimits limits, double centre, double upper, double lower,
                  const char* reason) {
  EXPECT_NEAR(limits.centre, centre, 1e-9) << reason;
  EXPECT_NEAR(limits.upper, upper, 1e-9) << reason;
  EXPECT_NEAR(limits.lower, lower, 1e-9) << reason;
}

bool AllNaN(PointLimits limits) {
  return std::isnan(limits.centre) && std::isnan(limits.upper) && std::isnan(limits.lower) &&
         std::isnan(limits.sigma);
}

// Sigma 2; the constants by hand from tables.
TEST(ChartFormulas, EachStatisticByHand) {
  ExpectLimits(MeanLimits(10, 2, 4), 10, 13, 7, "3 sigma / sqrt 4");
  ExpectLimits(MeanLimits(10, 2, 2.25), 10, 14, 6, "a mean size that is no whole number");
  ExpectLimits(MedianLimits(10, 2, 5), 10, 10 + 6 * 0.53556854053, 10 - 6 * 0.53556854053, "e(5)");
  ExpectLimits(MedianLimits(10, 2, 1), 10, 16, 4, "the median of one piece is the piece");
  ExpectLimits(MovingAverageLimits(10, 2, std::vector<std::int32_t>{4, 4, 4}), 10,
               10 + 6 * std::sqrt(1.0 / 12.0), 10 - 6 * std::sqrt(1.0 / 12.0),
               "equal sizes: sigma / sqrt(3 n)");
  ExpectLimits(MovingAverageLimits(10, 2, std::vector<std::int32_t>{2, 4}), 10,
               10 + 3 * std::sqrt(0.75), 10 - 3 * std::sqrt(0.75), "unequal sizes");
  ExpectLimits(RangeLimits(2, 5), 4.65185789456, 2 * (2.32592894728 + 3 * 0.8640819411), 0,
               "cut at 0");
  ExpectLimits(RangeLimits(2, 10), 2 * 3.07750546167, 2 * (3.07750546167 + 3 * 0.797050673519),
               2 * (3.07750546167 - 3 * 0.797050673519), "from n = 7 on there is a lower limit");
  ExpectLimits(SdLimits(2, 5), 2 * 0.939985602987, 2 * (0.939985602987 + 3 * 0.341214106065), 0,
               "cut at 0");
  ExpectLimits(SdLimits(2, 10), 2 * 0.972659274122, 2 * (0.972659274122 + 3 * 0.232236811176),
               2 * (0.972659274122 - 3 * 0.232236811176), "from n = 6 on there is a lower limit");
  ExpectLimits(MovingRangeLimits(2), 2.25675833420, 3.26653191929 * 2.25675833420, 0,
               "D4(2) of the mean range");
}

TEST(ChartFormulas, SigmaIsThatOfTheStatisticAlsoWhereTheLimitIsCut) {
  EXPECT_NEAR(RangeLimits(2, 5).sigma, 2 * 0.8640819411, 1e-9);
  EXPECT_NEAR(SdLimits(2, 5).sigma, 2 * 0.341214106065, 1e-9);
  EXPECT_DOUBLE_EQ(MeanLimits(10, 2, 4).sigma, 1.0);
}

TEST(ChartFormulas, TheWidthIsAnArgument) {
  ExpectLimits(MeanLimits(10, 2, 4, 2.0), 10, 12, 8, "warning lines");
  EXPECT_GT(RangeLimits(2, 5, 1.0).lower, 0.0);
  EXPECT_EQ(MovingRangeLimits(2, 1.0).lower, 0.0)
      << "a moving range has no lower limit at any width";
}

TEST(ChartFormulas, WithoutSigmaTheCentreStaysAndLimitsDoNot) {
  for (const PointLimits& limits : {MeanLimits(10, kNaN, 4), MedianLimits(10, kNaN, 4),
                                    MovingAverageLimits(10, kNaN, std::vector<std::int32_t>{4})}) {
    EXPECT_EQ(limits.centre, 10.0);
    EXPECT_TRUE(std::isnan(limits.upper) && std::isnan(limits.lower) && std::isnan(limits.sigma));
  }
  EXPECT_TRUE(AllNaN(RangeLimits(kNaN, 5)));
  EXPECT_TRUE(AllNaN(SdLimits(kNaN, 5)));
  EXPECT_TRUE(AllNaN(MovingRangeLimits(kNaN)));
  EXPECT_TRUE(AllNaN(CvLimits(kNaN, 5)));
}

TEST(ChartFormulas, ASigmaOfZeroPutsTheLimitsOnTheCentre) {
  ExpectLimits(MeanLimits(10, 0, 4), 10, 10, 10, "mean");
  ExpectLimits(RangeLimits(0, 4), 0, 0, 0, "range");
  ExpectLimits(CvLimits(0, 4), 0, 0, 0, "coefficient of variation");
}

TEST(ChartFormulas, SizesWithoutTheStatistic) {
  EXPECT_TRUE(AllNaN(MeanLimits(10, 2, 0)));
  EXPECT_TRUE(AllNaN(MeanLimits(10, 2, kNaN)));
  EXPECT_TRUE(AllNaN(MedianLimits(10, 2, 0)));
  EXPECT_TRUE(AllNaN(MovingAverageLimits(10, 2, {})));
  EXPECT_TRUE(AllNaN(MovingAverageLimits(10, 2, std::vector<std::int32_t>{4, 0})));
  EXPECT_TRUE(AllNaN(RangeLimits(2, 1)));
  EXPECT_TRUE(AllNaN(SdLimits(2, 1)));
  EXPECT_TRUE(AllNaN(CvLimits(0.1, 1)));
  EXPECT_TRUE(AllNaN(WithinPieceRangeLimits(2, std::vector<std::int32_t>{1, 1})));
  EXPECT_TRUE(AllNaN(WithinPieceSdLimits(2, {})));
}

TEST(ChartFormulas, ASmallCoefficientOfVariationIsTheStandardDeviationOverTheMean) {
  const PointLimits cv = CvLimits(1e-4, 7), sd = SdLimits(1e-4, 7);
  EXPECT_NEAR(cv.centre, sd.centre, 1e-11);
  EXPECT_NEAR(cv.upper, sd.upper, 1e-11);
  EXPECT_NEAR(cv.lower, sd.lower, 1e-11);
}

TEST(ChartFormulas, CoefficientOfVariationAgainstSimulation) {
  std::mt19937_64 random(2007);
  for (const double gamma : {0.1, 0.3}) {
    for (const std::int32_t n : {3, 5, 10}) {
      std::normal_distribution<double> normal(1.0, gamma);
      std::vector<double> ratios;
      for (int run = 0; run < 60000; ++run) {
        std::vector<double> sample(static_cast<std::size_t>(n));
        for (double& x : sample) x = normal(random);
        const SampleSummary summary = Summarise(sample);
        ratios.push_back(summary.sd / summary.mean);
      }
      const PointLimits limits = CvLimits(gamma, n);
      EXPECT_NEAR(limits.centre / Mean(ratios), 1.0, 0.01) << gamma << " " << n;
      EXPECT_NEAR(limits.sigma / SampleStandardDeviation(ratios), 1.0, 0.05) << gamma << " " << n;
    }
  }
}

TEST(ChartFormulas, WithinPiecesOfEqualReadings) {
  const std::vector<std::int32_t> readings(4, 5);
  const double d2 = 2.32592894728, d3 = 0.8640819411;
  ExpectLimits(WithinPieceRangeLimits(2, readings), 2 * d2, 2 * (d2 + 3 * d3 / 2),
               2 * (d2 - 3 * d3 / 2), "the mean of four ranges scatters half as much");
  const double c4 = 0.939985602987, c5 = 0.341214106065;
  ExpectLimits(WithinPieceSdLimits(2, readings), 2 * c4, 2 * (c4 + 3 * c5 / 2),
               2 * (c4 - 3 * c5 / 2), "and deviations");
}

TEST(ChartFormulas, WithinPiecesOfUnequalReadingsSkipPiecesWithOne) {
  const std::vector<std::int32_t> readings{2, 1, 5};
  const PointLimits limits = WithinPieceRangeLimits(2, readings);
  EXPECT_NEAR(limits.centre, 1.12837916710 + 2.32592894728, 1e-9);
  EXPECT_NEAR(limits.sigma, std::hypot(0.852502466427, 0.8640819411), 1e-9);
}

}  // namespace
}  // namespace orvspc::engine::statistics
