// A log of a school day as the library writes it, for what can't be played in a test's time.

const TASK = '006f8';
const READER = '002cc';
const RECEIVER = '00300';

/// So many keypads at the base station, and so many questions for all, over so many hours. Of a hundred presses about ten are
/// a second one of somebody who has answered, and some pupils don't press at all.
export function schoolLog({keypads, questions, hours}) {
  const lines = [];
  let now = Date.UTC(2026, 10, 23, 8);
  let seed = 1;
  const random = () => {
    seed = (seed * 1103515245 + 12345) % 2147483648;
    return seed / 2147483648;
  };
  const line = (text, thread = TASK, level = 'Debug') => {
    const time = new Date(now).toISOString().replace('T', ' ').replace('Z', '');
    lines.push(`[${time}][${level}][${thread}] ${text}\r\n`);
  };
  const command = (value, call) => {
    const json = JSON.stringify(value);
    line(`PipeServer::OnPipeDataReceived:61 msg received:${json}`, READER);
    line(`IpcHandler::RouteMessage:78 task begin msg=${json}`);
    line('IpcHandler::SendTrackwire:27', TASK, 'Trace');
    line(`IpcHandler::${call}:139`, TASK, 'Trace');
  };
  const event = (members) => line(`PipeServer::SendMsg:71 ${JSON.stringify(members, null, '\t').replaceAll('":', '" :')}\n`, TASK, 'Trace');
  const all = Array.from({length: keypads}, (_, i) => i + 1);
  const blocks = (entry, whole, each) => {
    for (let block = 0; block < 5; ++block) {
      line(`VoteDeckObjectBase::${entry}:30`, TASK, 'Trace');
      whole();
      if (block === 3) {
        all.forEach(each);
      }
    }
  };
  const cover = (device) => line(`VoteDeckObjectBase::StartNewQuestionRecord:49 cover question record for device ${device}`);
  const stop = (device) => line(`VoteDeckObjectBase::StopLastQuestionRecord:80 stop question record for device ${device}`);

  line('IpcHandler::Initialize:19 VERSION:2.0.54', '00570', 'Trace');
  line('IpcHandler::TaskLoop:110', TASK, 'Trace');
  line('PipeServer::Connect:30 Connect begin', TASK, 'Trace');
  line('PipeServer::Connect:57 Connect ConnectNamedPipe success, create PipeIO', TASK, 'Info');
  command({command: 'init', 'preferred-device-type': 'audio'}, 'CallInit');
  line('IpcHandler::CallInit:141 preferred_device_type=1');
  event({'avaliable-device': ['RV2'], event: 'device-inited', id: '1', ready: true});
  for (const keypad of all) {
    line(`VoteDeckObject_RV2::OnKeypadConnect:52 ushDeviceId=${keypad}, bConnect=true`, RECEIVER, 'Info');
    line(`VoteDeckObject_RV2::OnKeypadConnect::<lambda>::operator ():54 task begin ushDeviceId=${keypad}, bConnect=true`);
  }
  const distance = hours * 3600e3 / questions;
  for (let question = 0; question < questions; ++question) {
    const begin = now + distance * 0.1;
    now = begin;
    const custom = `lesson ${Math.floor(question / 25) + 1} page ${question}`;
    command({command: 'ask', device: '0', type: 'single-choice', custom}, 'CallAsk');
    blocks('HandleAsk', () => cover(0), cover);
    line('VoteDeckObjectBase::EraseLastAnswer:105 clear last_answer_map_');
    const presses = [];
    for (const keypad of all.filter(() => random() < 0.95)) {
      const at = begin + 1000 + random() * distance * 0.7;
      presses.push({keypad, at, again: false});
      if (random() < 0.1) {
        presses.push({keypad, at: at + 400, again: true});
      }
    }
    for (const {keypad, at, again} of presses.sort((one, other) => one.at - other.at)) {
      now = at;
      const key = 1 + Math.floor(random() * 4);
      line(`VoteDeckObject_RV2::OnKeypadEvent:76 ushDeviceId=${keypad}, enKeyValue=${key}`, RECEIVER, 'Info');
      line(`VoteDeckObject_RV2::OnKeypadEvent::<lambda>::operator ():78 task begin ushDeviceId=${keypad}, enKeyValue=${key}`);
      line(`VoteDeckObjectBase::FindLastQuestion:116 device=${keypad} found=true`);
      line(`VoteDeckObjectBase::IsLastAnswerFinished:131 device_id=${keypad}, answer_finished=${again}`);
      if (!again) {
        line(`VoteDeckObjectBase::FilterKeyEvent:157 question_type=0, enKeyValue=${key}`);
        line(`VoteDeckObjectBase::FilterKeyEvent:190 key=${'ABCD'[key - 1]}`);
        line('VoteDeckObject_RV2::OnKeypadEvent::<lambda>::operator ():84 need_send=true');
        line(`VoteDeckObjectBase::SendEventKeyPressed:54 device=${keypad}`, TASK, 'Trace');
        event({custom, device: String(keypad), event: 'key-pressed', id: String(now), key: 'ABCD'[key - 1]});
      }
    }
    now = begin + distance * 0.85;
    command({command: 'stop', device: '0'}, 'CallStop');
    blocks('HandleStop', () => line('VoteDeckObjectBase::StopLastQuestionRecord:70 stop last_question_map_[0]'), stop);
  }
  line('IpcHandler::TaskLoop:124 task loop end', TASK, 'Trace');
  return lines.join('');
}
