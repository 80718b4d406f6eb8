#include "tools/vdlesson/Lesson.h"

#include "tools/common/ShortForms.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <memory>
#include <sstream>
#include <system_error>

namespace vdipc::tools {
namespace {

constexpr int kMostPresses = 1000;

/// Takes one line of a lesson apart, word by word, and knows where it stands.
class Line {
public:
    Line(int number, const std::string& text) : number_(number), text_(text) { SkipBlanks(); }

    bool AtEnd() const { return next_ >= text_.size(); }
    int Number() const { return number_; }

    [[noreturn]] void Fail(const std::string& words) const {
        throw LessonError("line " + std::to_string(number_) + ": " + words);
    }

    std::string Word(const char* what) {
        if (AtEnd()) {
            Fail(std::string("expected ") + what);
        }
        const std::size_t begin = next_;
        while (next_ < text_.size() && text_[next_] != ' ' && text_[next_] != '\t') {
            ++next_;
        }
        const std::string word = text_.substr(begin, next_ - begin);
        SkipBlanks();
        return word;
    }

    std::string Rest() {
        std::string rest = text_.substr(next_);
        next_ = text_.size();
        return rest;
    }

    char Peek() const { return AtEnd() ? '\0' : text_[next_]; }

    double Seconds(const char* what) { return ToNumber(Word(what), what); }

    double ToNumber(const std::string& word, const char* what) const {
        try {
            std::size_t used = 0;
            const double number = std::stod(word, &used);
            if (used == word.size() && number >= 0.0 && std::isfinite(number)) {
                return number;
            }
        } catch (const std::exception&) {
            // told below
        }
        Fail(std::string("expected ") + what + ", not '" + word + "'");
    }

    /// A whole number of no more than `most`.
    template <typename Number>
    Number Whole(const std::string& word, const char* what,
                 Number most = std::numeric_limits<Number>::max()) const {
        Number number = 0;
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
        if (error == std::errc() && end == word.data() + word.size() && word[0] != '-' && number <= most) {
            return number;
        }
        Fail(std::string("expected ") + what + ", not '" + word + "'");
    }

    void Keyword(const char* word) {
        if (Word(word) != word) {
            Fail(std::string("expected the word '") + word + "'");
        }
    }

    Json::Value JsonRest() {
        const std::string rest = Rest();
        const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
        Json::Value value;
        std::string errors;
        try {
            if (reader->parse(rest.data(), rest.data() + rest.size(), &value, &errors) && value.isObject()) {
                return value;
            }
        } catch (const Json::Exception& error) {
            errors = error.what();  // nested too deep
        }
        Fail("expected a JSON object: " + errors);
    }

    void Range(int& first, int& last) {
        const std::string word = Word("a keypad number, or FIRST..LAST");
        const std::size_t dots = word.find("..");
        first = Whole<int>(word.substr(0, dots), "a keypad number");
        last = dots == std::string::npos ? first : Whole<int>(word.substr(dots + 2), "a keypad number");
        if (first < 1 || last < first) {
            Fail("a range of keypads runs upwards from 1 or above");
        }
    }

    /// The text of a JSON string that stands here.
    std::string StringRest() {
        const std::string rest = Rest();
        const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
        Json::Value value;
        std::string errors;
        if (!reader->parse(rest.data(), rest.data() + rest.size(), &value, &errors) || !value.isString()) {
            Fail("expected a text in double quotes, as JSON has it");
        }
        return value.asString();
    }

    std::string HexRest() {
        const std::string digits = Word("bytes in hexadecimal");
        if (digits.size() % 2 != 0 ||
            digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
            Fail("expected hexadecimal digits, two for each byte");
        }
        std::string bytes;
        for (std::size_t i = 0; i < digits.size(); i += 2) {
            bytes.push_back(static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16)));
        }
        if (!AtEnd()) {
            Fail("too many words: '" + Rest() + "'");
        }
        return bytes;
    }

    std::string CustomWord() {
        Keyword("as");
        return Word("the custom text of the question");
    }

private:
    void SkipBlanks() {
        while (next_ < text_.size() && (text_[next_] == ' ' || text_[next_] == '\t')) {
            ++next_;
        }
    }

    int number_;
    std::string text_;
    std::size_t next_ = 0;
};

/// "B" one key; "CA!" letters and then the confirming T; "G*3" one key three times, an answer for each press.
Choice ParseChoice(const Line& line, const std::string& word) {
    Choice choice;
    choice.name = word;
    const std::size_t star = word.find('*');
    if (star != std::string::npos) {
        const int times = line.Whole(word.substr(star + 1), "a number up to 1000 behind '*'", kMostPresses);
        for (int i = 0; i < times; ++i) {
            choice.keys.push_back(word.substr(0, star));
            choice.answers.push_back(word.substr(0, star));
        }
    } else if (word.back() == '!') {
        for (const char letter : word.substr(0, word.size() - 1)) {
            choice.keys.emplace_back(1, letter);
        }
        choice.keys.emplace_back("T");
        choice.answers.push_back(word.substr(0, word.size() - 1));
    } else {
        choice.keys.push_back(word);
        choice.answers.push_back(word);
    }
    return choice;
}

void ParseAnswers(Line& line, Step& step) {
    step.kind = Step::Kind::Answers;
    step.receiver = line.Word("a receiver kind");
    line.Range(step.first, step.last);
    std::istringstream choices(line.Word("the choices, with | between them"));
    std::string choice;
    while (std::getline(choices, choice, '|')) {
        if (choice.empty()) {
            line.Fail("an empty choice");
        }
        step.choices.push_back(ParseChoice(line, choice));
    }
    line.Keyword("over");
    step.seconds = line.Seconds("seconds");
    step.custom = line.CustomWord();
}

void ParseSpeaks(Line& line, Step& step) {
    step.kind = Step::Kind::Speaks;
    step.receiver = line.Word("a receiver kind");
    line.Range(step.first, step.last);
    line.Keyword("over");
    step.seconds = line.Seconds("seconds");
    step.custom = line.CustomWord();
    line.Keyword("gives");
    step.event = line.Word("the name of the event that must come");
    step.json = line.JsonRest();
}

void ParseExpect(Line& line, Step& step) {
    step.kind = Step::Kind::Expect;
    step.seconds = line.Seconds("seconds to wait at most");
    step.event = line.Word("the name of an event");
    if (line.Peek() == 'x') {
        step.count = line.Whole<int>(line.Word("a count").substr(1), "a count behind 'x'");
    }
    step.json = line.AtEnd() ? Json::Value(Json::objectValue) : line.JsonRest();
}

void ParseLogged(Line& line, Step& step) {
    step.kind = Step::Kind::Logged;
    step.seconds = line.Seconds("seconds to wait at most");
    step.text = line.Rest();
    if (step.text.size() > 1 && step.text[0] == 'x' && step.text[1] >= '0' && step.text[1] <= '9') {
        const std::size_t end = step.text.find(' ');
        step.count = line.Whole<int>(step.text.substr(1, end - 1), "a count behind 'x'");
        step.text.erase(0, end == std::string::npos ? end : end + 1);
    }
    if (step.text.empty()) {
        line.Fail("expected a text of the log");
    }
}

void ParseHost(Line& line, Step& step) {
    const std::string what = line.Word("start, again, end, stop, gone or kill");
    if (what == "start") {
        step.kind = Step::Kind::HostStart;
    } else if (what == "again") {
        step.kind = Step::Kind::HostAgain;
    } else if (what == "kill") {
        step.kind = Step::Kind::HostKill;
    } else if (what == "end" || what == "stop" || what == "gone") {
        step.kind = what == "end"    ? Step::Kind::HostEnd
                    : what == "stop" ? Step::Kind::HostStop
                                     : Step::Kind::HostGone;
        step.seconds = line.Seconds("seconds to wait at most");
    } else {
        line.Fail(
            "a host can 'start', start 'again', 'end SECONDS', 'stop SECONDS', be 'gone SECONDS' and be "
            "'kill'ed, not '" +
            what + "'");
    }
}

void ParseClient(Line& line, Step& step) {
    step.kind = Step::Kind::ClientSend;
    if (line.Peek() == '{') {
        step.text = line.Rest();
        return;
    }
    const std::string rest = line.Rest();
    const std::string word = rest.substr(0, rest.find(' '));
    Line more(line.Number(), rest.size() > word.size() ? rest.substr(word.size() + 1) : std::string());
    if (rest == "start") {
        step.kind = Step::Kind::ClientStart;
    } else if (rest == "kill") {
        step.kind = Step::Kind::ClientKill;
    } else if (word == "message") {
        step.kind = Step::Kind::ClientMessage;
        step.text = more.StringRest();
    } else if (word == "bytes") {
        step.kind = Step::Kind::ClientBytes;
        step.text = more.HexRest();
    } else {
        try {
            step.text = JsonOfShortForm(SplitWords(rest));
        } catch (const std::invalid_argument& error) {
            line.Fail(error.what());
        }
    }
}

void ParseActor(Line& line, Step& step, const std::string& actor) {
    if (actor == "say") {
        step.kind = Step::Kind::Say;
        step.text = line.Rest();
    } else if (actor == "host") {
        ParseHost(line, step);
    } else if (actor == "client") {
        ParseClient(line, step);
    } else if (actor == "logged") {
        ParseLogged(line, step);
    } else if (actor == "classroom") {
        step.kind = Step::Kind::Classroom;
        step.seconds = line.Peek() >= '0' && line.Peek() <= '9' ? line.Seconds("seconds to try") : 0.0;
        step.json = line.JsonRest();
    } else if (actor == "expect") {
        ParseExpect(line, step);
    } else if (actor == "none") {
        step.kind = Step::Kind::None;
        step.event = line.Word("the name of an event");
        step.json = line.AtEnd() ? Json::Value(Json::objectValue) : line.JsonRest();
    } else if (actor == "ignore") {
        step.kind = Step::Kind::Ignore;
        step.event = line.Word("the name of an event");
    } else if (actor == "answers") {
        ParseAnswers(line, step);
    } else if (actor == "speaks") {
        ParseSpeaks(line, step);
    } else if (actor == "shows") {
        step.kind = Step::Kind::Shows;
        step.receiver = line.Word("a receiver kind");
        line.Range(step.first, step.last);
        step.rows = SplitWords(line.Rest());
        if (step.rows.size() != 3) {
            line.Fail("a keypad shows three rows");
        }
    } else if (actor == "state") {
        step.kind = Step::Kind::State;
        step.seconds = line.Seconds("seconds to wait at most");
        step.json = line.JsonRest();
    } else {
        line.Fail("unknown step '" + actor + "'");
    }
    if (!line.AtEnd()) {
        line.Fail("too many words: '" + line.Rest() + "'");
    }
}

void ParseLine(Line& line, Lesson& lesson) {
    std::string word = line.Word("a step");
    if (word == "title") {
        lesson.title = line.Rest();
        return;
    }
    if (word == "seed") {
        lesson.seed = line.Whole<std::uint64_t>(line.Word("a number"), "a whole number");
        return;
    }
    if (word == "station") {
        lesson.station = line.Rest();
        return;
    }
    if (word == "plugged") {
        lesson.plugged = line.Rest();
        return;
    }
    if (word == "config") {
        lesson.config = line.Rest();
        return;
    }
    if (word == "devices") {
        lesson.devices = line.Rest();
        return;
    }
    if (word == "channel") {
        lesson.channel = line.Rest();
        if (lesson.channel != "none") {
            line.Whole<std::int32_t>(lesson.channel, "a channel number, or none");
        }
        return;
    }
    Step step;
    step.line = line.Number();
    if (word.front() == '@') {
        step.at = line.ToNumber(word.substr(1), "seconds behind '@'");
        word = line.Word("a step");
    } else if (word.front() == '+') {
        step.after = line.ToNumber(word.substr(1), "seconds behind '+'");
        word = line.Word("a step");
    }
    ParseActor(line, step, word);
    lesson.steps.push_back(std::move(step));
}

}  // namespace

Lesson ParseLesson(const std::string& text) {
    Lesson lesson;
    std::istringstream lines(text);
    std::string content;
    for (int number = 1; std::getline(lines, content); ++number) {
        if (!content.empty() && content.back() == '\r') {
            content.pop_back();
        }
        Line line(number, content);
        if (!line.AtEnd() && line.Peek() != '#') {
            ParseLine(line, lesson);
        }
    }
    if (lesson.steps.empty()) {
        throw LessonError("the lesson has no steps");
    }
    return lesson;
}

}  // namespace vdipc::tools
