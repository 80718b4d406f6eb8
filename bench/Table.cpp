#include "bench/Table.h"

#include <algorithm>
#include <cstdio>
#include <ostream>
#include <sstream>

namespace vdipc::bench {
namespace {

constexpr const char* kCounts[] = {"calls", "lines"};

std::string Thousands(std::uint64_t number) {
    std::string text = std::to_string(number);
    for (std::size_t at = text.size(); at > 3; at -= 3) {
        text.insert(at - 3, ",");
    }
    return text;
}

/// Three digits that count.
std::string Microseconds(double value) {
    if (value >= 1000.0) {
        return Thousands(static_cast<std::uint64_t>(value + 0.5));
    }
    char text[32] = {};
    std::snprintf(text, sizeof text, value >= 100.0 ? "%.0f" : value >= 10.0 ? "%.1f" : "%.2f", value);
    return text;
}

/// How often the last step's time is that of the one before, over the step's own factor.
std::string Growth(double before, double last) {
    char text[32] = {};
    std::snprintf(text, sizeof text, "x %.1f", last / before);
    return text;
}

}  // namespace

std::string Formula(const std::map<std::uint64_t, std::uint64_t>& counts) {
    if (counts.empty()) {
        return "";
    }
    const auto first = *counts.begin();
    const auto last = *counts.rbegin();
    // Halves occur, so the numbers are kept doubled.
    const std::uint64_t steps = last.first - first.first;
    const std::uint64_t doubled_slope = steps == 0 ? 0 : 2 * (last.second - first.second) / steps;
    const auto doubled_line = [doubled_slope](const auto& count) { return doubled_slope * count.first; };
    const std::uint64_t doubled_rest = 2 * first.second - doubled_line(first);
    const bool straight =
        doubled_rest % 2 == 0 && std::all_of(counts.begin(), counts.end(), [&](const auto& count) {
            return 2 * count.second == doubled_line(count) + doubled_rest;
        });
    if (!straight) {
        std::ostringstream all;
        for (const auto& [keypads, count] : counts) {
            all << (keypads == first.first ? "" : "; ") << Thousands(count);
        }
        return all.str();
    }
    const std::uint64_t rest = doubled_rest / 2;
    if (doubled_slope == 0) {
        return std::to_string(rest);
    }
    std::ostringstream formula;
    if (doubled_slope != 2) {
        formula << static_cast<double>(doubled_slope) / 2.0 << " ";
    }
    formula << "n";
    if (rest != 0) {
        formula << " + " << rest;
    }
    return formula.str();
}

TableReporter::Row& TableReporter::RowFor(const std::string& where, const std::string& receiver,
                                          const std::string& operation) {
    const auto found = std::find_if(rows_.begin(), rows_.end(), [&](const Row& row) {
        return row.where == where && row.receiver == receiver && row.operation == operation;
    });
    if (found != rows_.end()) {
        return *found;
    }
    rows_.push_back({where, receiver, operation, {}});
    return rows_.back();
}

void TableReporter::ReportRuns(const std::vector<Run>& runs) {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
        std::istringstream name(run.run_name.function_name);
        std::string where;
        std::string receiver;
        std::string operation;
        if (run.error_occurred || run.run_type != Run::RT_Iteration || !std::getline(name, where, '/') ||
            !std::getline(name, receiver, '/') || !std::getline(name, operation, '/')) {
            continue;
        }
        Cell cell;
        cell.microseconds = run.counters.at("middle_us").value;
        for (const char* count : kCounts) {
            cell.counts[count] = static_cast<std::uint64_t>(run.counters.at(count).value);
        }
        RowFor(where, receiver, operation).cells[std::stoull(run.run_name.args)] = cell;
    }
}

void TableReporter::PrintTimes(std::ostream& out, const std::string& where) const {
    out << "\nMicroseconds for one operation, " << where << "\n\n| Receiver | Operation |";
    std::string line = "|---|---|";
    for (const auto& [keypads, cell] : rows_.front().cells) {
        out << " " << Thousands(keypads) << " |";
        line += "---:|";
    }
    out << " last step |\n" << line << "---:|\n";
    for (const Row& row : rows_) {
        if (row.where != where) {
            continue;
        }
        out << "| " << row.receiver << " | " << row.operation << " |";
        for (const auto& [keypads, cell] : row.cells) {
            out << " " << Microseconds(cell.microseconds) << " |";
        }
        const auto last = row.cells.rbegin();
        out << " "
            << (row.cells.size() < 2
                    ? ""
                    : Growth(std::next(last)->second.microseconds, last->second.microseconds))
            << " |\n";
    }
}

void TableReporter::PrintCounts(std::ostream& out, const std::string& where) const {
    out << "\nCounts for one operation with n keypads, " << where
        << "\n\n| Receiver | Operation | calls into the closed library | log lines |\n|---|---|---:|---:|\n";
    for (const Row& row : rows_) {
        if (row.where != where) {
            continue;
        }
        out << "| " << row.receiver << " | " << row.operation << " |";
        for (const char* name : kCounts) {
            std::map<std::uint64_t, std::uint64_t> counts;
            for (const auto& [keypads, cell] : row.cells) {
                counts[keypads] = cell.counts.at(name);
            }
            out << " " << Formula(counts) << " |";
        }
        out << "\n";
    }
}

void TableReporter::PrintTables(std::ostream& out) const {
    std::vector<std::string> places;
    for (const Row& row : rows_) {
        if (std::find(places.begin(), places.end(), row.where) == places.end()) {
            places.push_back(row.where);
        }
    }
    for (const std::string& where : places) {
        PrintTimes(out, where);
        PrintCounts(out, where);
    }
    out.flush();
}

}  // namespace vdipc::bench
