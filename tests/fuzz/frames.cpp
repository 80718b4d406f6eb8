// Frames cut at random: bytes that come to the pipe's reader in pieces, and an independent reading of the same pieces that
// says which frames it must hand on and whether the connection lasts. A frame that came through is then given to the server,
// and written again.
//
// Input: one byte that says how the connection ends; one byte with the number of pieces but one, at most 15; a byte for the
// size of each of these; then the bytes of the pipe, of which the last piece takes the rest.
#include "fuzz/support/Fuzz.h"
#include "native/NativeSeam.h"
#include "pipe/PipeIO.h"
#include "support/PipeAccess.h"
#include "support/PipeEnds.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <thread>

namespace vdipc::fuzz {
namespace {

/// A length in the input counts by its low bits only: the reader believes any, and takes the memory for it.
constexpr std::int32_t kLengthBits = 0x3FFF;
/// Small enough for one packet of a socket, so that a piece comes whole.
constexpr std::size_t kLargestPiece = 4096;

/// What must come of the pieces.
struct Outcome {
    std::vector<PipeData> frames;
    bool lost = false;  // the reader gives the connection up before the pieces end
};

/// Reads the pieces as the pipe gives them: a read is served from one piece, and ends with it.
class PieceReader {
public:
    explicit PieceReader(std::vector<std::string>& pieces) : pieces_(pieces) {}

    /// False where the pieces are at their end. `got` is the bytes of one read.
    bool Read(std::size_t count, char*& at, std::size_t& got) {
        while (piece_ < pieces_.size() && next_ == pieces_[piece_].size()) {
            ++piece_;
            next_ = 0;
        }
        if (piece_ == pieces_.size()) {
            return false;
        }
        got = std::min(count, pieces_[piece_].size() - next_);
        at = pieces_[piece_].data() + next_;
        next_ += got;
        return true;
    }

private:
    std::vector<std::string>& pieces_;
    std::size_t piece_ = 0;
    std::size_t next_ = 0;
};

/// Also cuts lengths down in the pieces, where they are whole.
Outcome Expect(std::vector<std::string>& pieces) {
    Outcome outcome;
    PieceReader reader(pieces);
    for (;;) {
        PipeData frame;
        for (std::int32_t* const field : {&frame.type, &frame.length, &frame.command}) {
            char* at = nullptr;
            std::size_t got = 0;
            if (!reader.Read(sizeof *field, at, got)) {
                return outcome;
            }
            if (got != sizeof *field) {
                outcome.lost = true;
                return outcome;
            }
            std::memcpy(field, at, got);
            if (field == &frame.length && frame.length > kLengthBits) {
                frame.length &= kLengthBits;
                std::memcpy(at, field, got);
            }
        }
        if (frame.length > 0) {
            char* at = nullptr;
            std::size_t got = 0;
            if (!reader.Read(static_cast<std::size_t>(frame.length), at, got)) {
                return outcome;
            }
            if (got != static_cast<std::size_t>(frame.length)) {
                outcome.lost = true;
                return outcome;
            }
            frame.msg.assign(at, at + got);
        }
        outcome.frames.push_back(frame);
    }
}

std::vector<std::string> CutIntoPieces(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> pieces;
    const std::size_t cuts = std::min<std::size_t>(data[1] % 16, size - 2);
    std::size_t next = 2 + cuts;
    for (std::size_t i = 0; i < cuts; ++i) {
        const std::size_t length = std::min<std::size_t>(data[2 + i], size - next);
        pieces.push_back(Text(data + next, length));
        next += length;
    }
    pieces.push_back(Text(data + next, std::min(size - next, kLargestPiece)));
    return pieces;
}

/// Waits until the reader has found the pipe empty once more since then; false when it has given up. What is written earlier
/// could still come to it in the same read. Bounded by libFuzzer's time for one input.
bool WaitsAgain(const PipeIO& io, std::size_t waits_before) {
    while (test::NativePipeWaits() == waits_before) {
        if (!PipeIOAccess::Running(io)) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

bool SameFrame(const PipeData& a, const PipeData& b) {
    return a.type == b.type && a.length == b.length && a.command == b.command && a.msg == b.msg;
}

/// What the server makes of a frame: a message, a ping, or nothing; an error for a message of negative length alone.
void GiveToServer(const PipeData& frame) {
    std::vector<std::string> messages;
    int pings = 0;
    PipeServer server([&messages](const std::string& text) { messages.push_back(text); },
                      [&pings] { ++pings; }, nullptr);
    const bool is_message = frame.type == kFrameTypeJson;
    try {
        PipeServerAccess::OnPipeDataReceived(server, frame);
        FUZZ_REQUIRE(!(is_message && frame.length < 0));
        FUZZ_REQUIRE(messages.size() == (is_message ? 1U : 0U));
        FUZZ_REQUIRE(!is_message || messages[0] == std::string(frame.msg.begin(), frame.msg.end()));
    } catch (const std::length_error&) {
        FUZZ_REQUIRE(is_message && frame.length < 0);
    }
    FUZZ_REQUIRE(pings == (frame.type == kFrameTypePing && frame.command == kFrameCommandPing ? 1 : 0));
}

void WriteAgain(const PipeData& frame) {
    const std::vector<char> bytes = SerializeFrame(frame);
    FUZZ_REQUIRE(std::string(bytes.begin(), bytes.end()) ==
                 test::FrameBytes(frame.type, frame.length, frame.command,
                                  std::string(frame.msg.begin(), frame.msg.end())));
}

}  // namespace
}  // namespace vdipc::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace vdipc;
    using namespace vdipc::fuzz;
    if (size < 2) {
        return 0;
    }
    std::vector<std::string> pieces = CutIntoPieces(data, size);
    const Outcome expected = Expect(pieces);
    const bool client_goes = data[0] % 2 == 0;

    std::vector<PipeData> frames;  // the reader's, until it has been joined
    int errors = 0;
    const auto pair = test::MakePipePair();
    std::size_t waits = test::NativePipeWaits();
    {
        PipeIO io(
            pair->server, [&frames](const PipeData& frame) { frames.push_back(frame); },
            [&errors] { ++errors; });
        bool taken = WaitsAgain(io, waits);
        for (const std::string& piece : pieces) {
            waits = test::NativePipeWaits();
            taken = taken && (piece.empty() || (pair->client->Write(piece) && WaitsAgain(io, waits)));
        }
        FUZZ_REQUIRE(taken || expected.lost);
        if (client_goes || expected.lost) {
            pair->client->Close();
            while (PipeIOAccess::Running(io)) {
                std::this_thread::yield();
            }
        }
    }
    FUZZ_REQUIRE(errors == (client_goes || expected.lost ? 1 : 0));
    FUZZ_REQUIRE(
        std::equal(frames.begin(), frames.end(), expected.frames.begin(), expected.frames.end(), SameFrame));
    for (const PipeData& frame : frames) {
        GiveToServer(frame);
        WriteAgain(frame);
    }
    return 0;
}
