// SPDX-License-Identifier: Apache-2.0
#include "bench/Report.h"

#include <gmock/gmock.h>

#include <sstream>
#include <stdexcept>

namespace {

using namespace Bench;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

Figure Counted(const std::string& group, const std::string& name, double instructions) {
    return {group, name, Instructions, {instructions}, {}};
}

Report ReportOf(const std::vector<Figure>& figures) {
    Report report;
    for (const Figure& figure : figures) {
        report.Add(figure);
    }
    return report;
}

std::string Printed(const Report& report) {
    std::ostringstream stream;
    report.Print(stream);
    return stream.str();
}

TEST(BenchStatistics, TakesTheMiddleOfAnOddNumberOfValues) {
    EXPECT_EQ(Median({9, 1, 5}), 5);
}

TEST(BenchStatistics, TakesTheMeanOfTheTwoMiddleValuesOfAnEvenNumber) {
    EXPECT_EQ(Median({8, 1, 4, 100}), 6);
}

TEST(BenchStatistics, PlacesAQuantileBetweenItsNeighbours) {
    EXPECT_EQ(Quantile({10, 20, 30}, 0.25), 15);
    EXPECT_EQ(Quantile({10, 20, 30}, 1), 30);
    EXPECT_EQ(Quantile({7}, 0.75), 7);
}

TEST(BenchFigure, ComparesTheMediansOfOursAndFloor) {
    EXPECT_EQ(RatioOf({"g", "n", Microseconds, {30, 10, 20}, {10, 10, 40}}), 2);
}

TEST(BenchFigure, HasNoRatioWithoutAFloor) {
    EXPECT_EQ(RatioOf({"g", "n", Microseconds, {1}, {}}), std::nullopt);
    EXPECT_EQ(RatioOf({"g", "n", Microseconds, {1}, {0}}), std::nullopt);
}

TEST(BenchFigure, MeetsATargetThatItsRatioReachesExactly) {
    EXPECT_EQ(IsMet({"g", "n", Instructions, {130}, {104}, 1.25}), true);
    EXPECT_EQ(IsMet({"g", "n", Instructions, {131}, {104}, 1.25}), false);
}

TEST(BenchFigure, MissesATargetWhenThereIsNoFloorToCompareWith) {
    EXPECT_EQ(IsMet({"g", "n", Instructions, {1}, {}, 1.25}), false);
}

TEST(BenchFigure, MissesAlsoWhenOnlyItsLimitIsBroken) {
    EXPECT_EQ(IsMet({"g", "n", Microseconds, {5}, {5}, 1.2, 5}), true);
    EXPECT_EQ(IsMet({"g", "n", Microseconds, {6}, {6}, 1.2, 5}), false);
}

TEST(BenchFigure, IsNotJudgedWithoutTargetAndLimit) {
    EXPECT_EQ(IsMet({"g", "n", Microseconds, {5}, {1}}), std::nullopt);
}

TEST(BenchReport, RefusesAFigureTwice) {
    Report report = ReportOf({Counted("relay", "apdu", 1)});
    EXPECT_THROW(report.Add(Counted("relay", "apdu", 2)), std::logic_error);
}

TEST(BenchReport, RefusesAFigureWithoutAValueOrWithAnUnknownUnit) {
    Report report;
    EXPECT_THROW(report.Add({"g", "n", Instructions, {}, {}}), std::logic_error);
    EXPECT_THROW(report.Add({"g", "n", "miles", {1}, {}}), std::logic_error);
}

TEST(BenchReport, RefusesANameThatWouldBreakItsColumn) {
    Report report;
    EXPECT_NO_THROW(report.Add(Counted("g", std::string(LongestName, 'a'), 1)));
    EXPECT_THROW(report.Add(Counted("g", std::string(LongestName + 1, 'a'), 1)), std::logic_error);
}

TEST(BenchReport, FitsIntoTheWidthOfATerminal) {
    const std::string name(LongestName, 'n');
    const std::string text = Printed(ReportOf(
        {{"request", name, Instructions, {123456789, 123456780}, {98765432}, 1.25},
         {"request", name, Microseconds, {12.34, 1.5, 123456}, {10.5}, 1.2, 10}}));
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 120U) << line;
    }
}

TEST(BenchReport, ShowsHowFarTheQuartilesLieFromTheMedian) {
    const std::string text = Printed(ReportOf(
        {{"relay", "apdu", Microseconds, {90, 100, 100, 100, 130}, {}},
         {"relay", "set", Microseconds, {80, 100, 150}, {}}}));
    EXPECT_THAT(text, HasSubstr("+0.0..+0.0%"));
    EXPECT_THAT(text, HasSubstr("-10.0..+25.0%"));
}

TEST(BenchReport, TellsForEachTargetWhetherItIsMet) {
    const std::string text = Printed(ReportOf(
        {{"relay", "good", Instructions, {120}, {100}, 1.3},
         {"relay", "bad", Instructions, {140}, {100}, 1.3}}));
    EXPECT_THAT(text, HasSubstr("1.20 <=1.30x met\n"));
    EXPECT_THAT(text, HasSubstr("1.40 <=1.30x NOT MET\n"));
}

TEST(BenchReport, WritesEveryValueAsJson) {
    const nlohmann::json figure =
        ReportOf({{"relay", "apdu", Microseconds, {3, 1, 2}, {1}, 1.5, 4}}).ToJson().at("figures").at(0);
    EXPECT_EQ(figure.at("ours"), (std::vector<double>{3, 1, 2}));
    EXPECT_EQ(figure.at("median"), 2);
    EXPECT_EQ(figure.at("ratio"), 2);
    EXPECT_EQ(figure.at("met"), false);
}

TEST(BenchBaseline, HoldsMediansOfInstructionsAndNoTimes) {
    const Report report = ReportOf(
        {{"relay", "apdu", Instructions, {10, 30, 20}, {}}, {"relay", "apdu", Microseconds, {5}, {}}});
    EXPECT_EQ(CountsOf(report), (Baseline{{"relay/apdu", 20}}));
}

TEST(BenchBaseline, TellsSystemCallsFromInstructions) {
    const Report report =
        ReportOf({{"jobs", "status", Instructions, {590000.4}, {}}, {"jobs", "status", Calls, {62.04}, {}}});
    EXPECT_EQ(CountsOf(report), (Baseline{{"jobs/status", 590000}, {"jobs/status, system calls", 62}}));
}

TEST(BenchBaseline, KeepsTheCountsOfGroupsThatWereNotMeasured) {
    const Baseline earlier = {{"relay/apdu", 1}, {"relay/gone", 2}, {"script/job", 3}};
    EXPECT_EQ(
        Updated(earlier, ReportOf({Counted("relay", "apdu", 10)}), {"relay"}),
        (Baseline{{"relay/apdu", 10}, {"script/job", 3}}));
}

TEST(BenchCheck, TakesACountThatIsFivePercentAboveTheBaseline) {
    EXPECT_THAT(
        Deviations({{"relay/apdu", 100}}, ReportOf({Counted("relay", "apdu", 105)}), {"relay"}), IsEmpty());
}

TEST(BenchCheck, NamesACountThatIsMoreThanFivePercentAbove) {
    const auto sentences =
        Deviations({{"relay/apdu", 100}}, ReportOf({Counted("relay", "apdu", 106)}), {"relay"});
    EXPECT_THAT(sentences, ElementsAre("relay/apdu takes 106; the baseline has 100"));
}

TEST(BenchCheck, TakesACountThatHasBecomeSmaller) {
    EXPECT_THAT(
        Deviations({{"relay/apdu", 100}}, ReportOf({Counted("relay", "apdu", 10)}), {"relay"}), IsEmpty());
}

TEST(BenchCheck, NamesACountThatTheBaselineDoesNotKnow) {
    EXPECT_THAT(
        Deviations({}, ReportOf({Counted("relay", "apdu", 10)}), {"relay"}),
        ElementsAre("relay/apdu is not in the baseline"));
}

TEST(BenchCheck, NamesACountOfTheBaselineThatWasNotMeasured) {
    EXPECT_THAT(
        Deviations({{"relay/apdu", 1}}, Report(), {"relay"}),
        ElementsAre("relay/apdu is in the baseline and was not measured"));
}

TEST(BenchCheck, LeavesOutWhatTheBaselineHasOfOtherGroups) {
    EXPECT_THAT(Deviations({{"script/job", 1}}, Report(), {"relay"}), IsEmpty());
}

TEST(BenchCheck, NeverLooksAtTimes) {
    const Report report = ReportOf({{"relay", "apdu", Milliseconds, {1e9}, {1}, 1.1}});
    EXPECT_THAT(Deviations({}, report, {"relay"}), IsEmpty());
    EXPECT_THAT(Printed(report), Not(HasSubstr(" 1.1 met")));
}

}  // namespace
