// Frames that come in pieces: three of them cut in every way, each against what a reader does that makes one read for each
// field.

#include "tests/system/support/FaultTest.h"

#include <algorithm>
#include <iostream>
#include <random>
#include <set>

namespace vdipc::test {
namespace {

using client::JsonFrameBytes;
using client::PingBytes;

/// Three frames whose arrival can be counted: two commands that the host hears of, and a ping between them.
class CutStream {
public:
    CutStream() {
        const std::string quit = JsonFrameBytes(R"({"command":"quit"})");
        for (const std::string& frame : {quit, PingBytes(), quit}) {
            for (const std::size_t field : {4, 8, 12}) {
                borders_.insert(bytes_.size() + field);
            }
            bytes_ += frame;
            borders_.insert(bytes_.size());
            ends_.push_back(bytes_.size());
        }
    }

    std::size_t Size() const { return bytes_.size(); }

    /// The writes that these cuts make of it.
    std::vector<std::string> Pieces(const std::vector<std::size_t>& cuts) const {
        std::vector<std::string> pieces;
        std::size_t begin = 0;
        for (const std::size_t cut : cuts) {
            pieces.push_back(bytes_.substr(begin, cut - begin));
            begin = cut;
        }
        pieces.push_back(bytes_.substr(begin));
        return pieces;
    }

    /// The first cut inside a field: there the connection ends. 0 when there is none.
    std::size_t FatalCut(const std::vector<std::size_t>& cuts) const {
        const auto fatal = std::find_if(cuts.begin(), cuts.end(),
                                        [this](std::size_t cut) { return borders_.count(cut) == 0; });
        return fatal == cuts.end() ? 0 : *fatal;
    }

    /// Commands that arrive whole.
    std::size_t Commands(std::size_t fatal_cut) const {
        return fatal_cut == 0 ? 2 : fatal_cut > ends_[0] ? 1 : 0;
    }

private:
    std::string bytes_;
    std::set<std::size_t> borders_;  // ends of fields
    std::vector<std::size_t> ends_;  // of frames
};

class CutFaults : public FaultTest {
protected:
    void Play(const char* name, const std::vector<std::vector<std::size_t>>& cut_sets) {
        UseCycleHost();
        Start();
        FaultRow row(name, HostId());
        WarmUp(row);
        RawPipe pipe;
        std::size_t survived = 0;
        std::size_t commands = 0;
        for (const std::vector<std::size_t>& cuts : cut_sets) {
            if (!pipe.IsOpen()) {
                Connect(pipe, row);
                ASSERT_TRUE(WaitForQuits(commands)) << "in the sets before";
            }
            const std::string shown = testing::PrintToString(cuts);
            const std::size_t fatal = stream_.FatalCut(cuts);
            for (const std::string& piece : stream_.Pieces(cuts)) {
                if (!pipe.WriteAndDrain(piece)) {
                    break;
                }
            }
            commands += stream_.Commands(fatal);
            row.Count();
            if (fatal == 0) {
                ++survived;
                ASSERT_EQ(pipe.Read(12, kSoon).size(), 12U) << shown;
                ASSERT_TRUE(WaitForQuits(commands)) << shown;
                ASSERT_FALSE(pipe.IsLost()) << shown;
            } else {
                ASSERT_TRUE(pipe.WaitUntilLost(kSoon)) << shown;
                pipe.Close();
            }
        }
        pipe.Close();
        Connect(pipe, row);
        ASSERT_TRUE(WaitForQuits(commands));
        pipe.Close();
        ASSERT_TRUE(WaitForListening());
        std::cout << "row " << name << ": " << survived << " sets of cuts survived, "
                  << row.Times() - survived << " cost the connection, " << Revivals() << " hosts started anew"
                  << std::endl;
        row.Finish();
    }

    /// So many commands have come, and no more.
    bool WaitForQuits(std::size_t count) {
        return WaitBriefly([&] { return CountHostStates("quit") >= count; }, kPatience) &&
               CountHostStates("quit") == count;
    }

    CutStream stream_;
};

TEST_F(CutFaults, OneCutAtEachPosition_CostsTheConnectionExactlyInsideAField) {
    std::vector<std::vector<std::size_t>> sets = {{}};
    for (std::size_t cut = 1; cut < stream_.Size(); ++cut) {
        sets.push_back({cut});
    }
    Play("three frames cut once", sets);
}

TEST_F(CutFaults, ManyCuts_CostTheConnectionAtTheFirstInsideAField) {
    constexpr unsigned kSeed = 2018;
    std::vector<std::vector<std::size_t>> sets;
    std::mt19937 random(kSeed);
    std::uniform_int_distribution<std::size_t> position(1, stream_.Size() - 1);
    std::uniform_int_distribution<std::size_t> number(2, 8);
    // A long run takes every pair of cuts, and every set of field borders.
    const bool long_run = Repeated(1) > 1;
    for (std::size_t first = 1; long_run && first < stream_.Size(); ++first) {
        for (std::size_t second = first + 1; second < stream_.Size(); ++second) {
            sets.push_back({first, second});
        }
    }
    for (std::size_t i = long_run ? 200 : 0; i < 300; ++i) {
        std::set<std::size_t> cuts;
        for (std::size_t left = i < 200 ? 2 : number(random); left > 0; --left) {
            cuts.insert(position(random));
        }
        sets.emplace_back(cuts.begin(), cuts.end());
    }
    // Every set of field borders survives: each eleventh of them, and all borders at once.
    std::vector<std::size_t> all;
    for (std::size_t cut = 1; cut < stream_.Size(); ++cut) {
        if (stream_.FatalCut({cut}) == 0) {
            all.push_back(cut);
        }
    }
    for (unsigned bits = 0; bits < 1U << all.size(); bits += long_run ? 1 : 11) {
        std::vector<std::size_t> cuts;
        for (std::size_t i = 0; i < all.size(); ++i) {
            if ((bits >> i & 1U) != 0) {
                cuts.push_back(all[i]);
            }
        }
        sets.push_back(cuts);
    }
    sets.push_back(all);
    std::cout << "seed " << kSeed << std::endl;
    Play("three frames cut many times", sets);
}

}  // namespace
}  // namespace vdipc::test
