#include "tools/vdlog/Events.h"

#include "tools/vdlog/Messages.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <utility>

#include <json/json.h>

namespace vdipc::log {
namespace {

constexpr const char* kRecordingEnd = ".wav";

/// "diary-7-1f3a.wav" becomes "diary-7-*.wav".
std::string WithoutTime(const std::string& name) {
    const std::size_t end = name.rfind(kRecordingEnd);
    const std::size_t dash = end == std::string::npos ? end : name.rfind('-', end);
    return dash == std::string::npos ? name : name.substr(0, dash + 1) + "*" + name.substr(end);
}

/// A cut event, line by line.
std::string WithoutOwnLines(std::string_view styled) {
    std::string text;
    while (!styled.empty()) {
        const std::size_t end = std::min(styled.find('\n'), styled.size());
        const std::string_view line = styled.substr(0, end);
        styled.remove_prefix(std::min(end + 1, styled.size()));
        const bool own = line.find("\t\"id\" :") != std::string_view::npos ||
                         line.find("\t\"extra\" :") != std::string_view::npos ||
                         line.find("\t\"start_time\" :") != std::string_view::npos ||
                         line.find("\t\"end_time\" :") != std::string_view::npos;
        if (!own) {
            text += line.substr(std::min(line.find_first_not_of('\t'), line.size()));
        }
    }
    return text;
}

}  // namespace

std::string ComparableEvent(std::string_view styled) {
    try {
        Json::Value event;
        std::string errors;
        const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
        if (!reader->parse(styled.data(), styled.data() + styled.size(), &event, &errors) ||
            !event.isObject()) {
            return WithoutOwnLines(styled);
        }
        event.removeMember("id");
        if (event["data"].isObject()) {
            event["data"].removeMember("start_time");
            event["data"].removeMember("end_time");
        } else if (event["data"].isNull()) {
            event.removeMember("data");
        }
        if (event["extra"].isString()) {
            event["extra"] = WithoutTime(event["extra"].asString());
        } else {
            event.removeMember("extra");
        }
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        builder["emitUTF8"] = true;
        return Json::writeString(builder, event);
    } catch (const std::exception&) {
        return WithoutOwnLines(styled);  // nested too deep
    }
}

void EventList::OnFact(const Fact& fact) {
    switch (fact.kind) {
    case FactKind::RunBegin:
        ++run_;
        entries_.push_back({"a run begins", {}, fact.at, run_, true});
        break;
    case FactKind::EventSent:
        ++events_;
        entries_.push_back({ComparableEvent(fact.text), MemberOf(fact.text, "device"), fact.at, run_, false});
        break;
    case FactKind::DeviceInited:
        if (fact.number == 2 && !entries_.empty()) {
            entries_.pop_back();
            --events_;
            ++repeats_;
        }
        break;
    default:
        break;
    }
}

std::vector<Difference> Differences(const std::vector<std::size_t>& a, const std::vector<std::size_t>& b,
                                    std::size_t most) {
    // Myers' greedy way: how far each diagonal reaches with d differences, for each d, and then back.
    const auto length_a = static_cast<std::ptrdiff_t>(a.size());
    const auto length_b = static_cast<std::ptrdiff_t>(b.size());
    const auto most_d = static_cast<std::ptrdiff_t>(most);
    std::vector<std::vector<std::ptrdiff_t>> reached;  // of each d, the diagonals -d..d
    const auto at = [](std::vector<std::ptrdiff_t>& row, std::ptrdiff_t k) -> std::ptrdiff_t& {
        return row[static_cast<std::size_t>(k + static_cast<std::ptrdiff_t>(row.size() / 2))];
    };
    std::vector<Difference> found;
    for (std::ptrdiff_t d = 0; d <= std::min(most_d, length_a + length_b); ++d) {
        std::vector<std::ptrdiff_t> row(static_cast<std::size_t>(2 * d + 1));
        bool complete = false;
        for (std::ptrdiff_t k = -d; k <= d; k += 2) {
            std::ptrdiff_t x = 0;
            if (d > 0) {
                std::vector<std::ptrdiff_t>& former = reached.back();
                const bool down = k == -d || (k != d && at(former, k - 1) < at(former, k + 1));
                x = down ? at(former, k + 1) : at(former, k - 1) + 1;
            }
            while (x < length_a && x - k < length_b && x - k >= 0 &&
                   a[static_cast<std::size_t>(x)] == b[static_cast<std::size_t>(x - k)]) {
                ++x;
            }
            at(row, k) = x;
            complete = complete || (x >= length_a && x - k >= length_b && k == length_a - length_b);
        }
        reached.push_back(std::move(row));
        if (!complete) {
            continue;
        }
        // Back from the end, one step for each d.
        std::vector<std::pair<bool, std::pair<std::ptrdiff_t, std::ptrdiff_t>>> steps;  // of A?, where
        std::ptrdiff_t k = length_a - length_b;
        for (std::ptrdiff_t left = d; left > 0; --left) {
            std::vector<std::ptrdiff_t>& former = reached[static_cast<std::size_t>(left - 1)];
            const bool down = k == -left || (k != left && at(former, k - 1) < at(former, k + 1));
            k = down ? k + 1 : k - 1;
            const std::ptrdiff_t x = at(former, k);
            steps.push_back({!down, {x, x - k}});
        }
        std::reverse(steps.begin(), steps.end());
        for (const auto& [of_a, where] : steps) {
            const auto x = static_cast<std::size_t>(where.first);
            const auto y = static_cast<std::size_t>(where.second);
            if (found.empty() || found.back().a + found.back().a_count != x ||
                found.back().b + found.back().b_count != y) {
                found.push_back({x, 0, y, 0});
            }
            ++(of_a ? found.back().a_count : found.back().b_count);
        }
        return found;
    }
    std::size_t same = 0;
    while (same < a.size() && same < b.size() && a[same] == b[same]) {
        ++same;
    }
    return {{same, a.size() - same, same, b.size() - same}};
}

}  // namespace vdipc::log
