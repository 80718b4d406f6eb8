// Results of the benchmarks as tables, in Markdown.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

namespace vdipc::bench {

/// Names of benchmarks are "where/receiver/operation/keypads".
class TableReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override;
    /// A table of times for each "where", one of counts, each row with its growth.
    void PrintTables(std::ostream& out) const;

private:
    struct Cell {
        double microseconds = 0.0;
        std::map<std::string, std::uint64_t> counts;
    };
    /// By the number of keypads.
    using Cells = std::map<std::uint64_t, Cell>;
    struct Row {
        std::string where;
        std::string receiver;
        std::string operation;
        Cells cells;
    };

    Row& RowFor(const std::string& where, const std::string& receiver, const std::string& operation);
    void PrintTimes(std::ostream& out, const std::string& where) const;
    void PrintCounts(std::ostream& out, const std::string& where) const;

    std::vector<Row> rows_;
};

/// Counts at some numbers of keypads as a formula in n, where one straight line goes through all of them; else the
/// counts themselves.
std::string Formula(const std::map<std::uint64_t, std::uint64_t>& counts);

}  // namespace vdipc::bench
