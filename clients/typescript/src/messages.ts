// Made from the schemas by "npm run generate". Not to be edited.

/**
 * A message from the client to the library.
 */
export type AnyCommand =
  CommandInit | CommandAsk | CommandStop | CommandText | CommandHi | CommandDrop | CommandQuit;

/**
 * Chooses the receivers by what they can hear, and brings them up anew. The answer is a "device-inited" event.
 */
export interface CommandInit {
  command: 'init';
  /**
   * The client's own id of this command. No event repeats it.
   */
  id?: string;
  /**
   * Receivers without audio, with audio, or all.
   */
  'preferred-device-type': 'non-audio' | 'audio' | 'any';
}
/**
 * Opens a question at one keypad or at all.
 */
export interface CommandAsk {
  command: 'ask';
  /**
   * The client's own id of this command. No event repeats it.
   */
  id?: string;
  /**
   * Keypad that is addressed: its number in decimal, or "0" for all keypads. Numbers end at 4294967295. A text that is no number, or a greater number, ends the library's process.
   */
  device: string;
  /**
   * Kind of question. The spelling of "continous-red-envelope" is the protocol's.
   */
  type:
    | 'single-choice'
    | 'multiple-choice'
    | 'red-envelope'
    | 'continous-red-envelope'
    | 'true-false'
    | 'audio'
    | 'audio-single'
    | 'audio-multiple'
    | 'audio-multiple-chn'
    | 'evaluation'
    | 'voice-record'
    | 'general'
    | 'multiple-question-single-choice';
  /**
   * Text for row 1 of the keypad's display, also empty. Left out: the row stays as it is.
   */
  row1?: string;
  /**
   * Text for row 2 of the keypad's display, also empty. Left out: the row stays as it is.
   */
  row2?: string;
  /**
   * Text for row 3 of the keypad's display, also empty. Left out: the row stays as it is.
   */
  row3?: string;
  /**
   * Any text of the client's. Every event that answers this question carries it again.
   */
  custom?: string;
  /**
   * What spoken answers are held against.
   */
  context?: {
    /**
     * Parameters for the speech evaluation.
     */
    param?: {
      [k: string]: unknown;
    };
    /**
     * Texts that are to be spoken.
     */
    stems?: string[];
    /**
     * Beginning of the name of saved recordings.
     */
    'audio-file-name-prefix'?: string;
  };
}
/**
 * Closes the question at one keypad or at all.
 */
export interface CommandStop {
  command: 'stop';
  /**
   * The client's own id of this command. No event repeats it.
   */
  id?: string;
  /**
   * Keypad that is addressed: its number in decimal, or "0" for all keypads. Numbers end at 4294967295. A text that is no number, or a greater number, ends the library's process.
   */
  device: string;
  /**
   * Text for row 1 of the keypad's display, also empty. Left out: the row stays as it is.
   */
  row1?: string;
  /**
   * Text for row 2 of the keypad's display, also empty. Left out: the row stays as it is.
   */
  row2?: string;
  /**
   * Text for row 3 of the keypad's display, also empty. Left out: the row stays as it is.
   */
  row3?: string;
}
/**
 * Writes the display of one keypad or of all.
 */
export interface CommandText {
  command: 'text';
  /**
   * The client's own id of this command. No event repeats it.
   */
  id?: string;
  /**
   * Keypad that is addressed: its number in decimal, or "0" for all keypads. Numbers end at 4294967295. A text that is no number, or a greater number, ends the library's process.
   */
  device: string;
  /**
   * Text for row 1 of the keypad's display, also empty. Left out: the row stays as it is.
   */
  row1?: string;
  /**
   * Text for row 2 of the keypad's display, also empty. Left out: the row stays as it is.
   */
  row2?: string;
  /**
   * Text for row 3 of the keypad's display, also empty. Left out: the row stays as it is.
   */
  row3?: string;
}
/**
 * Makes keypads blink, shake or beep.
 */
export interface CommandHi {
  command: 'hi';
  /**
   * The client's own id of this command. No event repeats it.
   */
  id?: string;
  /**
   * Keypad that is addressed: its number in decimal, or "0" for all keypads. Numbers end at 4294967295. A text that is no number, or a greater number, ends the library's process.
   */
  device: string;
  /**
   * Signals, carried out in this order; may be empty.
   */
  arguments: (
    | {
        /**
         * Lamp, motor or beeper.
         */
        type: 'motor' | 'beep';
        /**
         * How often.
         */
        times: number;
        /**
         * Pause between two times, in the receiver's own unit.
         */
        interval: number;
        /**
         * Length of one time, in the receiver's own unit.
         */
        duration: number;
        /**
         * Colour of the lamp; needed for "led", not looked at for the others.
         */
        color?: unknown;
      }
    | {
        /**
         * Lamp, motor or beeper.
         */
        type: 'led';
        /**
         * How often.
         */
        times: number;
        /**
         * Pause between two times, in the receiver's own unit.
         */
        interval: number;
        /**
         * Length of one time, in the receiver's own unit.
         */
        duration: number;
        /**
         * Colour of the lamp; needed for "led", not looked at for the others.
         */
        color: 'blue' | 'green' | 'blue-green' | 'red' | 'magenta' | 'yellow' | 'white';
      }
  )[];
}
/**
 * Takes one keypad out of the lesson. "0" drops nobody: all keypads can't be dropped at once.
 */
export interface CommandDrop {
  command: 'drop';
  /**
   * The client's own id of this command. No event repeats it.
   */
  id?: string;
  /**
   * Keypad that is dropped: its number in decimal, up to 4294967295.
   */
  device: string;
}
/**
 * Asks the host process to end.
 */
export interface CommandQuit {
  command: 'quit';
  /**
   * The client's own id of this command. No event repeats it.
   */
  id?: string;
}
/**
 * A message from the library to the client.
 */
export type AnyEvent =
  | EventDeviceInited
  | EventArrived
  | EventRemoved
  | EventActivated
  | EventInactivated
  | EventKeyPressed
  | EventAudioRecognized
  | EventVoiceEvaluated
  | EventEvaluated
  | EventVoiceRecord;

/**
 * The answer to "init", also sent when the state of a receiver changes, and again and again while the base station stays unusable and nothing else is usable.
 */
export interface EventDeviceInited {
  event: 'device-inited';
  /**
   * Id of this event, in the form of a GUID. Its last two pairs of digits are always equal.
   */
  id: string;
  /**
   * Kinds of the receivers that are ready; null when there is none.
   *
   * @minItems 1
   */
  'avaliable-device':
    ['TQ1' | 'TQ2' | 'RV1' | 'RV2' | 'LW', ...('TQ1' | 'TQ2' | 'RV1' | 'RV2' | 'LW')[]] | null;
  /**
   * What these receivers say about themselves, by kind; null when there is none.
   */
  'avaliable-device-info': {
    TQ1?: Receiver;
    TQ2?: Receiver;
    RV1?: Receiver;
    RV2?: Receiver;
    LW?: Receiver;
  } | null;
  /**
   * Whether commands other than "init" and "quit" are carried out.
   */
  ready: boolean;
  /**
   * Why no receiver is ready. Left out when there is nothing to say.
   */
  info?: 'no-power' | 'not-connected' | 'ip-not-set';
}
export interface Receiver {
  /**
   * The receiver's own number.
   */
  uid: string;
  /**
   * Version of its firmware.
   */
  'software-version': string;
  /**
   * Version of the device.
   */
  'hardware-version': string;
  /**
   * Who made it.
   */
  company: string;
  /**
   * Radio channel.
   */
  channel: string;
  /**
   * Sending power.
   */
  'tx-power': string;
}
/**
 * A receiver was plugged in.
 */
export interface EventArrived {
  event: 'arrived';
  /**
   * Id of this event, in the form of a GUID. Its last two pairs of digits are always equal.
   */
  id: string;
}
/**
 * A receiver went: it was unplugged, or the base station lost its power or its cable. It doesn't say which; the "device-inited" behind it says what is left.
 */
export interface EventRemoved {
  event: 'removed';
  /**
   * Id of this event, in the form of a GUID. Its last two pairs of digits are always equal.
   */
  id: string;
  /**
   * Why the receiver went. The library always says "no-power" or "not-connected"; the format knows a third word and lets the key be left out.
   */
  info?: 'no-power' | 'not-connected' | 'ip-not-set';
}
/**
 * A keypad has logged on, or shows that it is there.
 */
export interface EventActivated {
  event: 'activated';
  /**
   * Id of this event, in the form of a GUID. Its last two pairs of digits are always equal.
   */
  id: string;
  /**
   * The keypad that the event is about: its number in decimal.
   */
  device: string;
}
/**
 * A keypad has logged off.
 */
export interface EventInactivated {
  event: 'inactivated';
  /**
   * Id of this event, in the form of a GUID. Its last two pairs of digits are always equal.
   */
  id: string;
  /**
   * The keypad that the event is about: its number in decimal.
   */
  device: string;
}
/**
 * A keypad has answered by its keys.
 */
export interface EventKeyPressed {
  event: 'key-pressed';
  /**
   * Id of this event, in the form of a GUID. Its last two pairs of digits are always equal.
   */
  id: string;
  /**
   * The keypad that the event is about: its number in decimal.
   */
  device: string;
  /**
   * The answer: one key, or for "multiple-choice" the letters in the order of their first press. Empty when nothing was chosen or the key has no text.
   */
  key: string;
  /**
   * Always null.
   */
  data: null;
  /**
   * Empty for answers by keys.
   */
  extra: string;
  /**
   * "custom" of the question that is answered.
   */
  custom: string;
}
/**
 * A spoken answer was recognised.
 */
export interface EventAudioRecognized {
  event: 'audio-recognized';
  /**
   * Id of this event, in the form of a GUID. Its last two pairs of digits are always equal.
   */
  id: string;
  /**
   * The keypad that the event is about: its number in decimal.
   */
  device: string;
  /**
   * The answer that was recognised, or empty.
   */
  key: string;
  data: {
    /**
     * Begin, as the speech service reports it.
     */
    start_time: number;
    /**
     * End, as the speech service reports it.
     */
    end_time: number;
    /**
     * What the speech service heard.
     */
    result: string;
    /**
     * Always 0.
     */
    score: number;
    /**
     * Lost radio packages of the recording, as the receiver reports them; 0.0 where it doesn't.
     */
    lost_package_rate: number;
  };
  /**
   * Name of the saved recording.
   */
  extra: string;
  /**
   * "custom" of the question that is answered.
   */
  custom: string;
}
/**
 * A spoken answer was scored against the stems of its question.
 */
export interface EventVoiceEvaluated {
  event: 'voice-evaluated';
  /**
   * Id of this event, in the form of a GUID. Its last two pairs of digits are always equal.
   */
  id: string;
  /**
   * The keypad that the event is about: its number in decimal.
   */
  device: string;
  /**
   * The answer that was recognised, or empty.
   */
  key: string;
  data: {
    /**
     * Begin, as the speech service reports it.
     */
    start_time: number;
    /**
     * End, as the speech service reports it.
     */
    end_time: number;
    /**
     * What the speech service heard.
     */
    result: string;
    /**
     * The score; -201, -202 or -203 for a recording that was no use.
     */
    score: number;
    /**
     * Lost radio packages of the recording, as the receiver reports them; 0.0 where it doesn't.
     */
    lost_package_rate: number;
  };
  /**
   * Name of the saved recording.
   */
  extra: string;
  /**
   * "custom" of the question that is answered.
   */
  custom: string;
}
/**
 * A spoken answer was scored by the parameters of its question.
 */
export interface EventEvaluated {
  event: 'evaluated';
  /**
   * Id of this event, in the form of a GUID. Its last two pairs of digits are always equal.
   */
  id: string;
  /**
   * The keypad that the event is about: its number in decimal.
   */
  device: string;
  data: {
    /**
     * 0, or -201, -202 or -203 for a recording that was no use.
     */
    error: number;
    /**
     * Lost radio packages of the recording, as the receiver reports them; 0.0 where it doesn't.
     */
    lost_package_rate: number;
    /**
     * The speech service's own result. Left out when it gave none, or none that is a JSON object.
     */
    raw_result?: {
      [k: string]: unknown;
    };
  };
  /**
   * Name of the saved recording.
   */
  extra: string;
  /**
   * "custom" of the question that is answered.
   */
  custom: string;
}
/**
 * A recording came in and was saved.
 */
export interface EventVoiceRecord {
  event: 'voice-record';
  /**
   * Always empty: this event has no id.
   */
  id: '';
  /**
   * The keypad that the event is about: its number in decimal.
   */
  device: string;
  data: {
    /**
     * Lost radio packages of the recording, as the receiver reports them; 0.0 where it doesn't.
     */
    lost_package_rate: number;
  };
  /**
   * Name of the saved recording.
   */
  extra: string;
  /**
   * "custom" of the question that is answered.
   */
  custom: string;
}
