#include "tools/vdlog/KnownLines.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace vdipc::log {
namespace {

using enum LineId;

constexpr KnownLine kTable[] = {
    // ---- start and stop ----
    {Version, "IpcHandler::Initialize", "VERSION:{}", "A start of the library, and its version."},
    {SetStatusCallback, "IpcHandler::SetVoteDecksStatusChangedCallback", "",
     "The host sets its callback for the status report; mostly the very first line of a process."},
    {CreateObjects, "IpcHandler::CreateVoteDeckObjects", "", "The five receivers' objects are made."},
    {MakeObject, "VoteDeckObjectBase::VoteDeckObjectBase", "",
     "One of the five objects is made, in the order TQ1, TQ2, RV1, RV2, LW."},
    {DevicesFileMissing, "IpcHandler::LoadActiveDevices", "open file failed. file_path={}",
     "No devices.json: ordinary at the first start. No keypad counts as logged on yet."},
    {DevicesFileRead, "IpcHandler::LoadActiveDevices", "open file OK. file_path={}  stream={}",
     "The keypads that were logged on when the library stopped last; they count as logged on."},
    {DevicesFileBroken, "IpcHandler::LoadActiveDevices", "parse json failed.",
     "devices.json is no JSON: all keypads have to log on again."},
    {TaskLoopBegin, "IpcHandler::TaskLoop", "",
     "The task thread begins; its thread number is in the prefix."},
    {TaskLoopEnd, "IpcHandler::TaskLoop", "task loop end",
     "The task thread ends: a stop is nearly complete."},
    {Uninitialize, "IpcHandler::Uninitialize", "", "The host stops the library."},
    {DevicesFileSaved, "IpcHandler::SaveActiveDevices", "decvices: {}",
     "devices.json is written: at each logon, logoff and drop, and as the last line of a stop."},
    {DevicesFileNotSaved, "IpcHandler::SaveActiveDevices", "open file failed. file_path={}",
     "devices.json can't be written: after the next start all keypads have to log on again."},
    {SpeechService, "IpcHandler::InitSpeechRecognizer", "use Aliyun",
     "The recognition service that was chosen."},
    {SpeechService, "IpcHandler::InitSpeechRecognizer", "use Baidu",
     "The recognition service that was chosen."},
    // ---- pipe ----
    {ConnectBegin, "PipeServer::Connect", "Connect begin",
     "The task thread waits for a client; until one comes nothing else is done."},
    {CreatePipeFailed, "PipeServer::CreateServerPipe", "CreateNamedPipe failed:{}",
     "No pipe can be offered."},
    {ConnectFailed, "PipeServer::Connect", "ConnectNamedPipe failed:{}", "No client can be waited for."},
    {ConnectFailed, "PipeServer::Connect", "ConnectNamedPipe failed after GetOverlappedResult:{}",
     "The wait for a client was ended, by a stop for one."},
    {ConnectSuccess, "PipeServer::Connect", "Connect ConnectNamedPipe success, create PipeIO",
     "A client has connected."},
    {ConnectEnd, "PipeServer::Connect", "Connect end", "The wait for a client is over."},
    {Disconnect, "PipeServer::Disconnect", "",
     "The pipe is taken down: the client is gone, or the library stops."},
    {ReaderFailed, "PipeIO::ReadThread", "Read type failed", "The client is gone, between two messages."},
    {ReaderFailed, "PipeIO::ReadThread", "Read length failed",
     "The client is gone in the middle of a message."},
    {ReaderFailed, "PipeIO::ReadThread", "Read command failed",
     "The client is gone in the middle of a message."},
    {ReaderFailed, "PipeIO::ReadThread", "Read msg failed",
     "The client is gone in the middle of a message, or wrote one in pieces."},
    {ReaderGone, "PipeIO::ReadThread", "Read data error, terminate ReadThread",
     "The loss of the client is noticed. Events from here until the next client connects are lost."},
    {ReaderCallFailed, "PipeIO::Read", "ReadFile failed, error_code={}",
     "109: the client has closed the pipe."},
    {ReaderCallFailed, "PipeIO::Read", "GetOverlappedResult failed, error_code={}",
     "The client has closed the pipe; the number is always 997."},
    {WriterCallFailed, "PipeIO::Write", "WriteFile failed, error_code={}",
     "An event could not be written: it is lost."},
    {WriterCallFailed, "PipeIO::Write", "GetOverlappedResult failed, error_code={}",
     "An event could not be written: it is lost."},
    {InvalidPipe, "PipeIO::Read", "invalid pipe handle", "There is no pipe to read from."},
    {InvalidPipe, "PipeIO::Write", "invalid pipe handle", "There is no pipe to write to."},
    {MessageReceived, "PipeServer::OnPipeDataReceived", "msg received:{}",
     "A message of the client, in UTF-8 as it came, on the reader's thread."},
    {EventSent, "PipeServer::SendMsg", "{}", "An event, as it is queued for the client."},
    {Ping, "IpcHandler::OnIpcPingreceived", "", "A ping of the client."},
    // ---- commands ----
    {CommandBegin, "IpcHandler::RouteMessage", "task begin msg={}",
     "The command's turn on the task thread. Without a line of SendTrackwire behind it, it couldn't be "
     "decoded."},
    {CommandAccepted, "IpcHandler::SendTrackwire", "",
     "Behind a command: it could be decoded. Behind an event: it went out."},
    {CallInit, "IpcHandler::CallInit", "", "\"init\" is carried out."},
    {PreferredKind, "IpcHandler::CallInit", "preferred_device_type={}",
     "The group that \"init\" chose: 0 TQ1 RV1 LW, 1 TQ2 RV2, 2 all of them."},
    {CallCommand, "IpcHandler::CallAsk", "", "\"ask\" is carried out."},
    {CallCommand, "IpcHandler::CallStop", "", "\"stop\" is carried out."},
    {CallCommand, "IpcHandler::CallText", "", "\"text\" is carried out."},
    {CallCommand, "IpcHandler::CallHi", "", "\"hi\" is carried out."},
    {CallCommand, "IpcHandler::CallDrop", "", "\"drop\" is carried out."},
    {CallQuit, "IpcHandler::CallQuit", "", "\"quit\" is carried out: the host is told."},
    {Ordinary, "IpcHandler::RouteCommand", "Quit command received, but not handle", ""},
    {NothingReady, "IpcHandler::CallAsk", "Cause none device is inited, ignore command",
     "No receiver of the chosen group is ready: the command is ignored, and nobody is told."},
    {NothingReady, "IpcHandler::CallStop", "Cause none device is inited, ignore command", "The same."},
    {NothingReady, "IpcHandler::CallText", "Cause none device is inited, ignore command", "The same."},
    {NothingReady, "IpcHandler::CallHi", "Cause none device is inited, ignore command", "The same."},
    {NothingReady, "IpcHandler::CallDrop", "Cause none device is inited, ignore command", "The same."},
    {HandleAsk, "VoteDeckObjectBase::HandleAsk", "",
     "One receiver's part of \"ask\"; five in the order TQ1, TQ2, RV1, RV2, LW."},
    {HandleStop, "VoteDeckObjectBase::HandleStop", "",
     "One receiver's part of \"stop\"; five in the same order."},
    {HandleText, "VoteDeckObjectBase::HandleText", "",
     "One receiver's part of \"text\"; five in the same order."},
    {HandleDrop, "VoteDeckObjectBase::HandleDrop", "",
     "One receiver's part of \"drop\"; five in the same order."},
    {HandleHi, "VoteDeckObject_RV2::HandleHi", "", "The station's part of \"hi\"."},
    {HandleHi, "VoteDeckObject_TQ::HandleHi", "", "A USB receiver's part of \"hi\"."},
    {DropOfAll, "VoteDeckObjectBase::HandleDrop", "device can not be 0",
     "\"drop\" for all keypads is refused."},
    {QuestionCovered, "VoteDeckObjectBase::StartNewQuestionRecord", "cover question record for device {}",
     "This keypad of this receiver has the question now. For \"0\" the keypads that are logged on follow, "
     "each with its line."},
    {Ordinary, "VoteDeckObjectBase::StartNewQuestionRecord",
     "new ask command is for device 0, cover all questions in last_question_map_", ""},
    {QuestionStopped, "VoteDeckObjectBase::StopLastQuestionRecord", "stop last_question_map_[{}]",
     "The keypad's question is closed, if it has one."},
    {Ordinary, "VoteDeckObjectBase::StopLastQuestionRecord",
     "stop command is for device 0, stop all questions in last_question_map_", ""},
    {QuestionStoppedForAll, "VoteDeckObjectBase::StopLastQuestionRecord",
     "stop question record for device {}",
     "The question of a keypad that is logged on is closed by a \"stop\" for all."},
    {AnswerErased, "VoteDeckObjectBase::EraseLastAnswer", "erase last_answer_map_[{}]",
     "The keypad's answer so far is forgotten."},
    {AnswersErased, "VoteDeckObjectBase::EraseLastAnswer", "clear last_answer_map_",
     "All keypads' answers so far are forgotten."},
    {DropNoted, "VoteDeckObjectBase::HandleDrop", "insert {} to dropped_device_set_",
     "The keypad is dropped from this receiver."},
    {StationQuestion, "VoteDeckObject_RV2::StartQuestion", "rv2.0 StartQuestion type={} device_id={}",
     "The station is told of the question, in its own numbering of types."},
    {StationQuestionEnd, "VoteDeckObject_RV2::StopQuestion", "rv2.0 EndQuestion device_id={}",
     "The station is told of the end."},
    {StationText, "VoteDeckObject_RV2::SetText",
     "rv2.0 SendContext device_id={}, row1='{}', row2='{}', row3='{}'",
     "Rows of text for a keypad's display."},
    {StationText, "VoteDeckObject_RV2::SetText",
     "rv2.0  device has been dropped but still SetContext device_id={}, row1='{}', row2='{}', row3='{}'",
     "Rows for a keypad that isn't logged on."},
    {ReceiverQuestion, "VoteDeckObject_TQ::StartQuestion", "SendQuestion type={}, device_id={}",
     "A USB receiver is told of the question, in its own numbering of types."},
    {ReceiverQuestionEnd, "VoteDeckObject_TQ::StopQuestion", "SendQuestion device_id={}",
     "A USB receiver is told of the end."},
    {ReceiverText, "VoteDeckObject_TQ::SetText", "SetContext device_id={}, row1='{}', row2='{}', row3='{}'",
     "Rows of text for a keypad's display."},
    {ReceiverText, "VoteDeckObject_TQ::SetText",
     "device has been dropped but still SetContext device_id={}, row1='{}', row2='{}', row3='{}'",
     "Rows for a keypad that isn't logged on."},
    {ReceiverSignal, "VoteDeckObject_TQ::HandleHi",
     "Activate device_id={}, beep_times={}, beep_unit={}, beep_interval={}, motor_times={}, motor_unit={}, "
     "motor_interval={}, light_times={}, light_unit={}, light_interval={}, light_color={}",
     "Lamp, motor and beeper of one keypad."},
    // ---- receivers ----
    {StationInitialize, "VoteDeckObject_RV2::Initialize", "", "The station is brought up."},
    {StationUninitialize, "VoteDeckObject_RV2::Uninitialize", "", "The station is taken down."},
    {StationNoPower, "VoteDeckObject_RV2::Initialize", "rv2.0 power off", "The station has no power."},
    {StationNoLink, "VoteDeckObject_RV2::Initialize", "rv2.0 usb not connected",
     "The station's USB link is missing."},
    {StationConnected, "VoteDeckObject_RV2::Initialize", "rv2.0 init socket ok, start session",
     "The station is up."},
    {StationRefused, "VoteDeckObject_RV2::Initialize", "rv2.0 init socket failed",
     "The station is there, but its network address isn't set."},
    {StationProbeLate, "VoteDeckObject_RV2::CheckStatusTask", "CheckStatus timeout for rv2, skip.",
     "The station's script gave no answer within two seconds; nothing changes."},
    {ReceiverInitialize, "VoteDeckObject_TQ::Initialize", "",
     "A USB receiver is brought up; those of the chosen group in the order TQ1, RV1, LW, TQ2."},
    {ReceiverUninitialize, "VoteDeckObject_TQ::Uninitialize", "",
     "A USB receiver is taken down: it is heard no more."},
    {ReceiverConnected, "VoteDeckObject_TQ::Initialize", "zq::IVoteDeck connected, enable bind card",
     "The receiver is up."},
    {ReceiverInfo, "VoteDeckObject_TQ::ReadDeviceInfo", "device_info={}",
     "What the receiver tells about itself."},
    {ReceiverLink, "VoteDeckObject_TQ::OnDeviceConnectedChange", "connected={}",
     "A USB receiver came or went."},
    {ReceiverLinkTask, "VoteDeckObject_TQ::OnDeviceConnectedChange", "task begin connected={}",
     "The turn of that news."},
    {ReceiverNotReady, "VoteDeckObject_TQ::OnDeviceConnectedChange", "initialization not finished, return.",
     "News of the link while the receiver is being brought up; passed over."},
    {DeviceInited, "IpcHandler::SendEventDeviceInited", "send device-inited event ready={}, info={}",
     "Whether any receiver is ready; info -1 ready, 0 no power, 1 not connected, 2 address not set."},
    {StatusChanged, "IpcHandler::OnVoteDeckStatusChanged", "",
     "A receiver's state has changed: \"device-inited\" goes out again."},
    {StatusStillBad, "IpcHandler::OnRv2BadStatusNotified", "",
     "The station's check, every ten seconds, still finds it down: \"device-inited\" goes out again where "
     "nothing else is ready."},
    {SendArrived, "VoteDeckObjectBase::SendEventArrived", "", "\"arrived\" goes out."},
    {SendRemoved, "VoteDeckObjectBase::SendEventRemoved", "", "\"removed\" goes out."},
    // ---- keypads ----
    {StationKeypad, "VoteDeckObject_RV2::OnKeypadConnect", "ushDeviceId={}, bConnect={}",
     "A keypad of the station came or went."},
    {StationKeypadTask, "VoteDeckObject_RV2::OnKeypadConnect", "task begin ushDeviceId={}, bConnect={}",
     "The turn of that news: from here on the keypad counts as logged on, or no more."},
    {Bound, "VoteDeckObject_TQ::OnBindCard", "newUid={}, ", "A keypad logged on at a USB receiver."},
    {BoundTask, "VoteDeckObject_TQ::OnBindCard", "task begin newUid={}, ", "The turn of that logon."},
    {Unbound, "VoteDeckObject_TQ::OnUnbindCard", "device_id={}", "A keypad logged off at a USB receiver."},
    {UnboundTask, "VoteDeckObject_TQ::OnUnbindCard", "task begin device_id={}", "The turn of that logoff."},
    {LockForTQ2, "VoteDeckObject_TQ::OnBindCard", "TQ2.0 send question lock {}",
     "The logon was at the TQ2 receiver."},
    {UnlockForTQ2, "VoteDeckObject_TQ::OnUnbindCard", "TQ2.0 send question unlock {}",
     "The logoff was at the TQ2 receiver."},
    {TextRecordMade, "VoteDeckObjectBase::CreateTextRecordForDevice", "device={}",
     "The keypad counts as logged on."},
    {TextRecordErased, "VoteDeckObjectBase::EraseTextRevordForDevice", "device={}",
     "The keypad counts as logged on no more."},
    {SendActivated, "VoteDeckObjectBase::SendEventActivated", "device={}", "\"activated\" goes out."},
    {SendInactivated, "VoteDeckObjectBase::SendEventInactivated", "device={}", "\"inactivated\" goes out."},
    // ---- keys ----
    {StationKey, "VoteDeckObject_RV2::OnKeypadEvent", "ushDeviceId={}, enKeyValue={}",
     "A press is heard from the station: 1 to 4 A to D, 5 and 7 T, 6 and 8 F, 9 G."},
    {StationKeyTask, "VoteDeckObject_RV2::OnKeypadEvent", "task begin ushDeviceId={}, enKeyValue={}",
     "The press's turn on the task thread."},
    {ReceiverKey, "VoteDeckObject_TQ::OnKeyEvent",
     "ushDeviceId={}, enKeyValue={}, pressTimes={}, recvTimes={}",
     "A press is heard from a USB receiver; which one it doesn't say."},
    {ReceiverKeyTask, "VoteDeckObject_TQ::OnKeyEvent",
     "task begin ushDeviceId={}, enKeyValue={}, pressTimes={}, recvTimes={}",
     "The press's turn on the task thread."},
    {ActivateForRV1, "VoteDeckObject_TQ::OnKeyEvent", "send activate before key press for rv1.0",
     "The press came from the RV1 receiver, where a press logs its keypad on."},
    {Ordinary, "VoteDeckObject_TQ::OnKeyEvent", "recover context for rv1.0", ""},
    {BroughtBackForLW, "VoteDeckObject_TQ::OnKeyEvent",
     "device {} has been droped, send activate before key press for lw",
     "Key G brought a dropped keypad of the LW receiver back; the press is no answer."},
    {QuestionFound, "VoteDeckObjectBase::FindLastQuestion", "device={} found={}",
     "Whether the keypad has a question. Where true isn't followed by IsLastAnswerFinished, the question is "
     "closed."},
    {Ordinary, "VoteDeckObjectBase::FindLastQuestion", "device={}", ""},
    {AnswerFinished, "VoteDeckObjectBase::IsLastAnswerFinished", "device_id={}, answer_finished={}",
     "Whether the keypad has answered its open question already; true ends the press."},
    {Ordinary, "VoteDeckObjectBase::IsLastAnswerFinished", "", ""},
    {KeyFiltered, "VoteDeckObjectBase::FilterKeyEvent", "question_type={}, enKeyValue={}",
     "The key is held against the question's type, in the protocol's numbering."},
    {KeyCommits, "VoteDeckObjectBase::FilterKeyEvent", "key T, commit", "A multiple choice is confirmed."},
    {KeyClears, "VoteDeckObjectBase::FilterKeyEvent", "key F, clear", "A multiple choice is cleared."},
    {KeyTaken, "VoteDeckObjectBase::FilterKeyEvent", "key={}", "The key counts."},
    {KeysSoFar, "VoteDeckObjectBase::FilterKeyEvent", "save key{}, all keys={}",
     "The letters of a multiple choice so far."},
    {Ordinary, "VoteDeckObjectBase::FilterKeyEvent", "", ""},
    {StationNeedSend, "VoteDeckObject_RV2::OnKeypadEvent", "need_send={}",
     "Whether the press becomes an event."},
    {ReceiverNeedSend, "VoteDeckObject_TQ::OnKeyEvent", "device_id={}, need_send={}",
     "Whether the press becomes an event."},
    {SendKeyPressed, "VoteDeckObjectBase::SendEventKeyPressed", "device={}", "\"key-pressed\" goes out."},
    // ---- recordings ----
    {StationAudio, "VoteDeckObject_RV2::OnKeypadAudioEvent", "ushDeviceID={}",
     "A recording is heard from the station. Without its turn it wasn't valid."},
    {StationAudioTask, "VoteDeckObject_RV2::OnKeypadAudioEvent", "task begin ushDeviceID={}",
     "The recording's turn."},
    {AudioChecked, "VoteDeckObject_RV2::CheckAudioData", "",
     "The recording is long enough, and is looked at for the fill pattern. Without this line before its turn "
     "it was too short, or came with an error."},
    {ReceiverAudio, "VoteDeckObject_TQ::OnAudioDataReceived", "ushDeviceID={}",
     "A recording is heard from a USB receiver."},
    {ReceiverAudioTask, "VoteDeckObject_TQ::OnAudioDataReceived", "task begin ushDeviceID={}",
     "The recording's turn."},
    {AudioSaved, "VoteDeckObjectBase::RunAudioPath", "saved audio file {}",
     "The recording is a file now. Where no question follows, the keypad's question is closed."},
    {AudioQuestion, "VoteDeckObjectBase::RunAudioPath", "last question found, custom={}",
     "The question it answers (station)."},
    {AudioQuestion, "VoteDeckObjectBase::RunAudioPath", "lastquestion found, custom={}",
     "The question it answers (USB)."},
    {Ordinary, "VoteDeckObjectBase::RunAudioPath", "QuestionType::VoiceEvaluationSingle", ""},
    {Ordinary, "VoteDeckObjectBase::RunAudioPath", "QuestionType::VoiceEvaluationMultiple", ""},
    {Ordinary, "VoteDeckObjectBase::RunAudioPath", "QuestionType::VoiceEvaluationMultiple_CHN", ""},
    {Ordinary, "VoteDeckObjectBase::RunAudioPath", "QuestionType::VoiceEvaluation", ""},
    {Ordinary, "VoteDeckObjectBase::RunAudioPath", "QuestionType::VoiceRecord", ""},
    {NoStems, "VoteDeckObjectBase::MayEvaluateStems", "cause stems is empty do not request evaluator",
     "The question has no stems: nothing can be scored, and no event comes."},
    {NoParam, "VoteDeckObjectBase::MayEvaluateParam",
     "cause param stringify is empty do not request evaluator",
     "The question has no parameters: nothing can be scored, and no event comes."},
    {AudioError, "VoteDeckObjectBase::MayEvaluateStems", "audio error do not request evaluator",
     "A bad recording: an event with the error's number goes out, and nothing is scored."},
    {AudioError, "VoteDeckObjectBase::MayEvaluateParam", "audio error do not request evaluator",
     "A bad recording: an event with the error's number goes out, and nothing is scored."},
    {RecognizeRequested, "VoteDeckObjectBase::RequestRecognize", "recognize request_id={}, voice_size={}",
     "The recording goes to the recognition service, with its size in bytes."},
    {Ordinary, "VoteDeckObjectBase::RequestRecognize", "", ""},
    {Ordinary, "IpcHandler::RequestRecognize", "", ""},
    {EvaluationRequested, "VoteDeckObjectBase::RequestSingleEvaluation",
     "evaluator sent online request_id={}, voice_size={}, stems=[{}]",
     "The recording goes to the evaluator of one sentence."},
    {EvaluationRequested, "VoteDeckObjectBase::RequestMultipleEvaluation",
     "evaluator sent online request_id={}, voice_size={}, stems=[{}]",
     "The recording goes to the evaluator of choices."},
    {GeneralRequested, "IpcHandler::RequestEvaluation", "", "The recording goes to the general evaluator."},
    {Ordinary, "IpcHandler::RequestSingleEvaluation", "", ""},
    {Ordinary, "IpcHandler::RequestMultipleEvaluation", "", ""},
    {SendEvaluated, "VoteDeckObjectBase::SendEventEvaluated", "", "\"evaluated\" with an error goes out."},
    {SendVoiceRecord, "VoteDeckObjectBase::SendEventVoiceRecord", "", "\"voice-record\" goes out."},
    {SendVoiceEvaluated, "VoteDeckObjectBase::SendEventVoiceEvaluated", "",
     "\"voice-evaluated\" with an error goes out."},
    // ---- speech results ----
    {RecognizeAnswer, "IpcHandler::OnRecognizeCompleted",
     "result.request_id={}, result.error_code={}, result.result={}",
     "The recognition service answers, on its own thread."},
    {RecognizeResult, "IpcHandler::HandleRecognizeResult",
     "result.request_id={}, result.error_code={}, result.result={}", "The turn of that answer."},
    {EvaluateAnswer, "IpcHandler::HandleEvaluateCompleted", "result.request_id={}",
     "An evaluator answers, on its own thread."},
    {EvaluateResult, "IpcHandler::HandleEvaluateResult",
     "result.request_id={}, result.error_code={}, result.result={}, score={}", "The turn of that answer."},
    {GeneralAnswer, "IpcHandler::HandleGeneralEvaluateCompleted", "result.request_id={}",
     "The general evaluator answers, on its own thread."},
    {GeneralResult, "IpcHandler::HandleGeneralEvaluateResult",
     "result.request_id={}, result.request_param_stringify={}, result.raw_result_stringify={}",
     "The turn of that answer."},
    {EvaluatorMismatch, "IpcHandler::HandleEvaluateResult", "evaluator not match, return.",
     "An answer of the online evaluator after the switch to offline: thrown away."},
    {EvaluatorMismatch, "IpcHandler::HandleGeneralEvaluateResult", "evaluator not match, return.",
     "An answer of an evaluator that serves no more: thrown away."},
    {RequestErased, "IpcHandler::HandleEvaluateResult", "evaluate_request_map_[{}] has been erased, reurn.",
     "A second answer to a request that has been answered: thrown away."},
    {RequestErased, "IpcHandler::HandleGeneralEvaluateResult",
     "evaluate_request_map_[{}] has been erased, reurn.",
     "A second answer to a request that has been answered: thrown away."},
    {CustomChecked, "VoteDeckObjectBase::CheckLastQuestionCustom", "match={}",
     "Whether one receiver's keypad of that number still has the question open; asked of all five until one "
     "says true."},
    {CustomMismatch, "IpcHandler::HandleRecognizeResult", "device={} event not match",
     "The question was closed or replaced before the answer came: thrown away."},
    {CustomMismatch, "IpcHandler::HandleEvaluateResult", "device={} custom not match",
     "The question was closed or replaced before the answer came: thrown away."},
    {CustomMismatch, "IpcHandler::HandleGeneralEvaluateResult", "device={} custom not match",
     "The question was closed or replaced before the answer came: thrown away."},
    {CustomMatch, "IpcHandler::HandleRecognizeResult", "device={} custom match, custom={}",
     "The answer becomes an event."},
    {CustomMatch, "IpcHandler::HandleEvaluateResult", "device={} custom match custom={}",
     "The answer becomes an event."},
    {CustomMatch, "IpcHandler::HandleGeneralEvaluateResult", "device={} custom match custom={}",
     "The answer becomes an event."},
    {TimeoutFired, "IpcHandler::StartEvaluatorTimer", "timeout {}",
     "Two seconds without an answer to an evaluation of one sentence."},
    {TimeoutTask, "IpcHandler::HandleEvaluatorTimeout", "timeout task begin {}",
     "The turn of that time-out."},
    {TimeoutOpen, "IpcHandler::HandleEvaluatorTimeout",
     "evaluation result of {} has not returned, try to changed to offline", "Still no answer."},
    {TimeoutAlreadyOffline, "IpcHandler::HandleEvaluatorTimeout",
     "current evaluator is offline do not request again",
     "The switch to offline was made before: this request isn't made again, and no event will come."},
    {TimeoutAgain, "IpcHandler::HandleEvaluatorTimeout", "request evaluation of {} again",
     "The one request that is made again, of the offline evaluator."},
    {SwitchToOffline, "IpcHandler::ChangeSentSpeechEvaluatorToOffline", "",
     "The switch to the offline evaluator, once for good."},
    // ---- ordinary ----
    {Ordinary, "IpcHandler::ReadCommandlineForTrackwire", "", ""},
    {Ordinary, "IpcHandler::ReadCommandlineForTrackwire", "open command line file failed: {}", ""},
    {Ordinary, "IpcHandler::ReadCommandlineForTrackwire", "read command line: {}", ""},
    {Ordinary, "IpcHandler::ReadCommandlineForTrackwire", "parse command line failed", ""},
    {Ordinary, "IpcHandler::ReadCommandlineForTrackwire", "live_id={}", ""},
    {Ordinary, "IpcHandler::ReadCommandlineForTrackwire", "lesson_num={}", ""},
    {Ordinary, "IpcHandler::ReadCommandlineForTrackwire", "class_id={}", ""},
    {Ordinary, "IpcHandler::LoadActiveDevices", "", ""},
    {Ordinary, "IpcHandler::LoadActiveDevices", "parse json OK.", ""},
    {Ordinary, "IpcHandler::RetrieveAudioStoragePathFromRegistry", "", ""},
    {Ordinary, "IpcHandler::CreateMultiDir", "", ""},
    {Ordinary, "IpcHandler::DeleteVoteDeckObjects", "", ""},
    {Ordinary, "IpcHandler::DeleteVoteDeckObjects", "do not destroy rv2.0", ""},
    {Ordinary, "IpcHandler::Uninitialize", "do not destroy rv2.0", ""},
    {Ordinary, "IpcHandler::SaveActiveDevices", "", ""},
    {Ordinary, "IpcHandler::SaveActiveDevices", "file_path={}", ""},
    {Ordinary, "IpcHandler::IsAnyDeviceConnected", "", ""},
    {Ordinary, "IpcHandler::SendEventDeviceInited", "", ""},
    {Ordinary, "IpcHandler::NotifyVoteDecksStatusChanged", "", ""},
    {Ordinary, "IpcHandler::UpdateDeviceInfoForTrackwire", "", ""},
    {Ordinary, "IpcHandler::GetCurrentTimeString", "", ""},
    {Ordinary, "IpcHandler::SendIPCMesage", "", ""},
    {Ordinary, "IpcHandler::ClearTextForAllDevices", "", ""},
    {Ordinary, "IpcHandler::Initialize", "IPC connected", ""},
    {Ordinary, "IpcHandler::OnIpcReadError", "", ""},
    {Ordinary, "IpcHandler::OnIpcReadError", "IPC connected", ""},
    {Ordinary, "IpcHandler::OnIpcPingreceived", "ping received, set event", ""},
    {Ordinary, "IpcHandler::StopEvaluatorTimer", "", ""},
    {Ordinary, "PipeServer::PipeServer", "", ""},
    {Ordinary, "PipeServer::~PipeServer", "", ""},
    {Ordinary, "PipeServer::CreateServerPipe", "CreateServerPipe begin", ""},
    {Ordinary, "PipeServer::CreateServerPipe", "CreateServerPipe end", ""},
    {Ordinary, "PipeIO::PipeIO", "", ""},
    {Ordinary, "PipeIO::Start", "", ""},
    {Ordinary, "PipeIO::Stop", "", ""},
    {Ordinary, "PipeIO::ReadThread", "ReadThread begin", ""},
    {Ordinary, "PipeIO::ReadThread", "ReadThread end", ""},
    {Ordinary, "PipeIO::WriteThread", "WriteThread begin", ""},
    {Ordinary, "PipeIO::WriteThread", "WriteThread end", ""},
    {Ordinary, "VoteDeckObjectBase::~VoteDeckObjectBase", "", ""},
    {Ordinary, "VoteDeckObjectBase::SendIPCMesage", "", ""},
    {Ordinary, "VoteDeckObjectBase::StartNewQuestionRecord", "", ""},
    {Ordinary, "VoteDeckObjectBase::StopLastQuestionRecord", "", ""},
    {Ordinary, "VoteDeckObjectBase::EraseLastAnswer", "", ""},
    {Ordinary, "VoteDeckObjectBase::CheckLastQuestionCustom", "", ""},
    {Ordinary, "VoteDeckObjectBase::KeyToString", "", ""},
    {Ordinary, "VoteDeckObjectBase::SaveAudioFile", "", ""},
    {Ordinary, "VoteDeckObjectBase::ClearTextForAllDevices", "", ""},
    {Ordinary, "VoteDeckObjectBase::EraseDeviceFromDropSet", "device={}", ""},
    {Ordinary, "VoteDeckObjectBase::NotifyBadStatusForRV2", "", ""},
    {Ordinary, "VoteDeckObjectBase::NotifyActiveDevicesChanged", "", ""},
    {Ordinary, "VoteDeckObjectBase::NotifyStatusChanged", "", ""},
    {Ordinary, "VoteDeckObject_RV2::VoteDeckObject_RV2", "", ""},
    {Ordinary, "VoteDeckObject_RV2::~VoteDeckObject_RV2", "", ""},
    {Ordinary, "VoteDeckObject_RV2::StartQuestion", "", ""},
    {Ordinary, "VoteDeckObject_RV2::StopQuestion", "", ""},
    {Ordinary, "VoteDeckObject_RV2::SetText", "", ""},
    {Ordinary, "VoteDeckObject_RV2::HandleHi",
     "rv2.0 SendFlashing device={}, color={}, duration={}, interval={}, times={}", ""},
    {Ordinary, "VoteDeckObject_RV2::HandleHi",
     "rv2.0 SendVibrate device={}, duration={}, interval={}, times={}", ""},
    {Ordinary, "VoteDeckObject_RV2::HandleHi",
     "rv2.0 SendAlarm device={}, duration={}, interval={}, times={}", ""},
    {Ordinary, "VoteDeckObject_RV2::OnKeypadStateEvent", "", ""},
    {Ordinary, "VoteDeckObject_RV2::OnKeypadLowBatteryEvent", "", ""},
    {Ordinary, "VoteDeckObject_RV2::OnMCUUpdateProgress", "", ""},
    {Ordinary, "VoteDeckObject_RV2::OnRepeatedConnectionKeypad", "", ""},
    {Ordinary, "VoteDeckObject_RV2::OnLogEvent", "", ""},
    {Ordinary, "VoteDeckObject_RV2::StartStatusCheck", "", ""},
    {Ordinary, "VoteDeckObject_RV2::StatusThread", "RV2 status check thread begin", ""},
    {Ordinary, "VoteDeckObject_RV2::StatusThread", "RV2 status check thread end", ""},
    {Ordinary, "VoteDeckObject_RV2::StopStatusCheck", "", ""},
    {Ordinary, "VoteDeckObject_RV2::OnDeviceNodesChanged", "", ""},
    {Ordinary, "VoteDeckObject_RV2::OnDeviceArrival", "do not care", ""},
    {Ordinary, "VoteDeckObject_RV2::OnDeviceRemoved", "do not care", ""},
    {Ordinary, "VoteDeckObject_RV2::DeleteSdkConfigFile", "", ""},
    {Ordinary, "VoteDeckObject_RV2::DeleteSdkConfigFile", "file not exists {}", ""},
    {Ordinary, "VoteDeckObject_RV2::DeleteSdkConfigFile", "delete file {} result={}", ""},
    {Ordinary, "VoteDeckObject_TQ::VoteDeckObject_TQ", "", ""},
    {Ordinary, "VoteDeckObject_TQ::~VoteDeckObject_TQ", "", ""},
    {Ordinary, "VoteDeckObject_TQ::Initialize", "LW StopQuestion when init", ""},
    {Ordinary, "VoteDeckObject_TQ::StartQuestion", "", ""},
    {Ordinary, "VoteDeckObject_TQ::StartQuestion", "LW donot start question", ""},
    {Ordinary, "VoteDeckObject_TQ::StopQuestion", "", ""},
    {Ordinary, "VoteDeckObject_TQ::StopQuestion", "LW donot stop question", ""},
    {Ordinary, "VoteDeckObject_TQ::SetText", "", ""},
    {Ordinary, "VoteDeckObject_TQ::SetText", "Setting context for special device {}, lock it!", ""},
    {Ordinary, "VoteDeckObject_TQ::HandleDrop", "", ""},
    {Ordinary, "VoteDeckObject_TQ::HandleDrop", "LW StartQuestion General when drop", ""},

    {Ordinary, "VoteDeckObject_TQ::OnDeviceConnectedChange",
     "LW StopQuestion when connected if all_general_for_lw_", ""},
    {Ordinary, "VoteDeckObject_TQ::OnDeviceIOError", "", ""},
    {Ordinary, "VoteDeckObject_TQ::OnSetContextSuccess", "", ""},
    {Ordinary, "VoteDeckObject_TQ::OnSendToDevice", "", ""},
    {Ordinary, "VoteDeckObject_TQ::OnDataSentFailed", "", ""},
    {Ordinary, "VoteDeckObject_TQ::OnReSendCommend", "", ""},
    {Ordinary, "VoteDeckObject_TQ::OnSendData", "", ""},
    {Ordinary, "VoteDeckObject_TQ::OnReceiveData", "", ""},
    {Ordinary, "VoteDeckObject_TQ::OnDeviceNodesChanged", "do not care", ""},
    {Ordinary, "VoteDeckObject_TQ::OnDeviceArrival", "", ""},
    {Ordinary, "VoteDeckObject_TQ::OnDeviceRemoved", "", ""},
    {Ordinary, "VoteDeckObject_TQ::OnGetDeviceInfo", "{} {}", ""},
    {Ordinary, "VoteDeckObject_TQ::SynchronizeChannelForTQ2", "device info channel error: {}  do not save",
     ""},
    {Ordinary, "VoteDeckObject_TQ::SynchronizeChannelForTQ2", "save channel to reg {}", ""},
    {Ordinary, "VoteDeckObject_TQ::SynchronizeChannelForTQ2", "change channel {}", ""},
    {Ordinary, "VoteDeckObject_TQ::ReadChannelNumberFromReg", "Failed to RegOpenKey: {}", ""},
    {Ordinary, "VoteDeckObject_TQ::ReadChannelNumberFromReg", "Failed to RegQueryValueEx: {}", ""},
    {Ordinary, "VoteDeckObject_TQ::ReadChannelNumberFromReg", "channel: {}", ""},
    {Ordinary, "VoteDeckObject_TQ::WriteChannelNumberToReg", "Failed to RegCreateKey: {}", ""},
    {Ordinary, "VoteDeckObject_TQ::WriteChannelNumberToReg", "Failed to RegSetValueEx: value_name", ""},
};

/// A row whose text is cut at its values.
struct Row {
    const KnownLine* known = nullptr;
    std::vector<std::string_view> pieces;  // one more than values
};

constexpr std::size_t kSlots = 1024;

std::size_t SlotOf(std::string_view function) {
    // Names differ most in their length and at their ends.
    std::uint64_t tail = 0;
    const std::size_t size = function.size();
    std::memcpy(&tail, function.data() + (size > 8 ? size - 8 : 0), std::min<std::size_t>(size, 8));
    const std::uint64_t mixed = (tail ^ (static_cast<std::uint64_t>(size) << 56)) * 0x9E3779B97F4A7C15ULL;
    return static_cast<std::size_t>(mixed >> 54);
}

struct Function {
    std::string_view name;
    std::vector<Row> rows;  // most telling first
};

class Index {
public:
    Index() : slots_(kSlots, -1) {
        for (const KnownLine& known : kTable) {
            Row row;
            row.known = &known;
            std::string_view text = known.text;
            for (std::size_t hole = text.find("{}"); hole != std::string_view::npos; hole = text.find("{}")) {
                row.pieces.push_back(text.substr(0, hole));
                text.remove_prefix(hole + 2);
            }
            row.pieces.push_back(text);
            FunctionOf(known.function).rows.push_back(std::move(row));
        }
        for (Function& function : functions_) {
            // A longer fixed beginning is the better fit; "device={} found={}" goes before "device={}".
            std::stable_sort(function.rows.begin(), function.rows.end(), [](const Row& a, const Row& b) {
                return a.pieces[0].size() != b.pieces[0].size() ? a.pieces[0].size() > b.pieces[0].size()
                                                                : a.known->text.size() > b.known->text.size();
            });
        }
    }

    const Function* Find(std::string_view name) const {
        for (std::size_t slot = SlotOf(name);; slot = (slot + 1) % kSlots) {
            if (slots_[slot] < 0) {
                return nullptr;
            }
            const Function& function = functions_[static_cast<std::size_t>(slots_[slot])];
            if (function.name == name) {
                return &function;
            }
        }
    }

private:
    Function& FunctionOf(std::string_view name) {
        for (std::size_t slot = SlotOf(name);; slot = (slot + 1) % kSlots) {
            if (slots_[slot] < 0) {
                slots_[slot] = static_cast<int>(functions_.size());
                functions_.push_back({name, {}});
                return functions_.back();
            }
            Function& function = functions_[static_cast<std::size_t>(slots_[slot])];
            if (function.name == name) {
                return function;
            }
        }
    }

    std::vector<int> slots_;
    std::vector<Function> functions_;
};

bool Fits(const Row& row, std::string_view text, std::array<std::string_view, 12>& values) {
    const auto& pieces = row.pieces;
    if (pieces.size() == 1) {
        // The entry of a function has no text; what another thread's line left behind it doesn't count.
        return pieces[0].empty() ? text.empty() : text.substr(0, pieces[0].size()) == pieces[0];
    }
    if (text.substr(0, pieces[0].size()) != pieces[0]) {
        return false;
    }
    text.remove_prefix(pieces[0].size());
    for (std::size_t i = 1; i < pieces.size(); ++i) {
        const bool last = i + 1 == pieces.size();
        // The last value goes to the end of the line: it may hold the words that close it.
        const std::size_t end = pieces[i].empty() ? (last ? text.size() : text.find(' '))
                                : last            ? text.rfind(pieces[i])
                                                  : text.find(pieces[i]);
        if (end == std::string_view::npos) {
            return false;
        }
        values[i - 1] = text.substr(0, end);
        text.remove_prefix(end + pieces[i].size());
    }
    return true;
}

const Index& TheIndex() {
    static const Index index;
    return index;
}

}  // namespace

std::span<const KnownLine> KnownLines() {
    return kTable;
}

Reading Read(const LogLine& line) {
    Reading reading;
    const Function* const function = line.function.empty() ? nullptr : TheIndex().Find(line.function);
    if (function == nullptr) {
        return reading;
    }
    reading.function_known = true;
    const Row* entry = nullptr;
    for (const Row& row : function->rows) {
        if (Fits(row, line.text, reading.values)) {
            reading.id = row.known->id;
            reading.row = row.known;
            return reading;
        }
        if (row.known->text.empty()) {
            entry = &row;
        }
    }
    if (entry != nullptr && line.joined) {
        reading.id = entry->known->id;
        reading.row = entry->known;
    }
    return reading;
}

std::int64_t NumberIn(std::string_view value, std::int64_t fallback) {
    std::size_t at = !value.empty() && value[0] == '-' ? 1 : 0;
    const std::size_t begin = at;
    std::int64_t number = 0;
    while (at < value.size() && value[at] >= '0' && value[at] <= '9' && at < begin + 18) {
        number = number * 10 + (value[at] - '0');
        ++at;
    }
    if (at == begin) {
        return fallback;
    }
    return begin == 1 ? -number : number;
}

bool IsTaskThreads(LineId id) {
    switch (id) {
    case LineId::TaskLoopBegin:
    case LineId::ConnectBegin:
    case LineId::CommandBegin:
    case LineId::StationKeyTask:
    case LineId::ReceiverKeyTask:
    case LineId::StationKeypadTask:
    case LineId::BoundTask:
    case LineId::UnboundTask:
    case LineId::StationAudioTask:
    case LineId::ReceiverAudioTask:
    case LineId::ReceiverLinkTask:
    case LineId::RecognizeResult:
    case LineId::EvaluateResult:
    case LineId::GeneralResult:
    case LineId::TimeoutTask:
        return true;
    default:
        return false;
    }
}

bool IsTrue(std::string_view value) {
    return value.substr(0, 4) == "true";
}

}  // namespace vdipc::log
