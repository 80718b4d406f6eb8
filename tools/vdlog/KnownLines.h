// What the lines of the log mean: the one table of all lines that this program reads, and how a line finds its row.
//
// A row is a function, the text behind the function's line number as the library's source has it ("{}" for a value), and
// what the line says. Rows whose text is empty are the bare entry of a function. A test holds the table against the
// library's source; docs/log.md has the same lines for people.
#pragma once

#include "tools/vdlog/LogLine.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace vdipc::log {

enum class LineId : std::uint8_t {
    Unknown,
    // Start and stop
    Version,
    SetStatusCallback,
    CreateObjects,
    MakeObject,
    DevicesFileMissing,
    DevicesFileRead,
    DevicesFileBroken,
    TaskLoopBegin,
    TaskLoopEnd,
    Uninitialize,
    DevicesFileSaved,
    DevicesFileNotSaved,
    SpeechService,
    // Pipe
    ConnectBegin,
    CreatePipeFailed,
    ConnectFailed,
    ConnectSuccess,
    ConnectEnd,
    Disconnect,
    ReaderFailed,
    ReaderGone,
    ReaderCallFailed,
    WriterCallFailed,
    InvalidPipe,
    MessageReceived,
    EventSent,
    Ping,
    // Commands
    CommandBegin,
    CommandAccepted,
    CallInit,
    CallCommand,
    CallQuit,
    PreferredKind,
    NothingReady,
    HandleAsk,
    HandleStop,
    HandleText,
    HandleDrop,
    HandleHi,
    DropOfAll,
    QuestionCovered,
    QuestionStopped,
    QuestionStoppedForAll,
    AnswerErased,
    AnswersErased,
    DropNoted,
    StationQuestion,
    StationQuestionEnd,
    StationText,
    ReceiverQuestion,
    ReceiverQuestionEnd,
    ReceiverText,
    ReceiverSignal,
    // Receivers
    StationInitialize,
    StationUninitialize,
    StationNoPower,
    StationNoLink,
    StationConnected,
    StationRefused,
    StationProbeLate,
    ReceiverInitialize,
    ReceiverUninitialize,
    ReceiverConnected,
    ReceiverInfo,
    ReceiverLink,
    ReceiverLinkTask,
    ReceiverNotReady,
    DeviceInited,
    StatusChanged,
    StatusStillBad,
    SendArrived,
    SendRemoved,
    // Keypads
    StationKeypad,
    StationKeypadTask,
    Bound,
    BoundTask,
    Unbound,
    UnboundTask,
    LockForTQ2,
    UnlockForTQ2,
    TextRecordMade,
    TextRecordErased,
    SendActivated,
    SendInactivated,
    // Keys
    StationKey,
    StationKeyTask,
    ReceiverKey,
    ReceiverKeyTask,
    ActivateForRV1,
    BroughtBackForLW,
    QuestionFound,
    AnswerFinished,
    KeyFiltered,
    KeyCommits,
    KeyClears,
    KeyTaken,
    KeysSoFar,
    StationNeedSend,
    ReceiverNeedSend,
    SendKeyPressed,
    // Recordings
    StationAudio,
    StationAudioTask,
    ReceiverAudio,
    ReceiverAudioTask,
    AudioChecked,
    AudioSaved,
    AudioQuestion,
    NoStems,
    NoParam,
    AudioError,
    RecognizeRequested,
    EvaluationRequested,
    GeneralRequested,
    SendEvaluated,
    SendVoiceRecord,
    SendVoiceEvaluated,
    // Speech results
    RecognizeAnswer,
    RecognizeResult,
    EvaluateAnswer,
    EvaluateResult,
    GeneralAnswer,
    GeneralResult,
    EvaluatorMismatch,
    RequestErased,
    CustomChecked,
    CustomMismatch,
    CustomMatch,
    TimeoutFired,
    TimeoutTask,
    TimeoutOpen,
    TimeoutAlreadyOffline,
    TimeoutAgain,
    SwitchToOffline,
    // Read so that they are no unknown lines; they say nothing by themselves.
    Ordinary
};

struct KnownLine {
    LineId id;
    std::string_view function;
    std::string_view text;
    std::string_view meaning;  // for people; empty for an Ordinary line
};

/// The whole table.
std::span<const KnownLine> KnownLines();

/// A line and its row. `values` stand for the "{}" of the row's text, in order; they live as long as the line's.
struct Reading {
    LineId id = LineId::Unknown;
    const KnownLine* row = nullptr;
    std::array<std::string_view, 12> values{};
    bool function_known = false;  // the function has rows, though no text fits: a line of another version
};

/// Never fails: a line without a row gives LineId::Unknown. What runs into the end of a line doesn't hide it.
Reading Read(const LogLine& line);

/// Whether only the library's task thread writes this line, so that it tells which thread that is.
bool IsTaskThreads(LineId id);

/// The number at the beginning of a value; `fallback` where there is none.
std::int64_t NumberIn(std::string_view value, std::int64_t fallback = 0);
bool IsTrue(std::string_view value);

}  // namespace vdipc::log
