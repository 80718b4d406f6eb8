import { EventEmitter } from 'node:events';
import { setTimeout as pause } from 'node:timers/promises';
import { FrameReader, isMessage, isPingReply, jsonFrame, pingFrame, type Frame } from './frame.js';
import type { AnyCommand, AnyEvent } from './messages.js';
import { validators } from './validate.js';
import { OpenError, openWire, type OpenFailure, type Wire } from './wire.js';

export const DEFAULT_PIPE = '\\\\.\\pipe\\zq-vote-deck-D27DFDD9-E25D-4976-A4D3-6179C2000B4C';

export interface ClientOptions {
  /** The pipe, or a socket's path. */
  path?: string;
  /** How long connecting may take, in milliseconds. */
  connectTimeout?: number;
  /**
   * The pause between two tries, in milliseconds, and between the end of a connection of this process and the first try
   * of the next one: then the library makes its pipe anew. It can't serve a client that opens the pipe between its making
   * and the wait for a client, well below a millisecond, nor anybody after that one; so tries must be few.
   */
  retryPause?: number;
  /** How long the reply to the ping behind connecting may take. */
  pingTimeout?: number;
  /** Whether a lost connection is made anew, for as long as it takes. */
  reconnect?: boolean;
  /** Whether commands are held against the schemas before they go out; `send` throws for what doesn't fit. */
  check?: boolean;
  /** Bytes of frames that wait to be written, above which `send` says false. */
  sendLimit?: number;
  /** Ends connecting. */
  signal?: AbortSignal;
}

export type ConnectFailure = OpenFailure | 'not-served' | 'cancelled';

const WORDS: Record<ConnectFailure, string> = {
  'nobody-serves': 'nobody serves the pipe; start a host first, or wait longer',
  'another-client': 'another client holds the pipe; only one is served at a time',
  'not-served': 'connected, but not served: the host must be started again',
  cancelled: 'connecting was cancelled',
  failed: "the pipe can't be opened",
};

export class ConnectError extends Error {
  override readonly name = 'ConnectError';

  constructor(
    readonly code: ConnectFailure,
    cause?: unknown,
  ) {
    super(cause instanceof Error ? `${WORDS[code]} (${cause.message})` : WORDS[code], { cause });
  }
}

/** The connection is gone. Frames that were queued and not written are lost; `unsent` tells how many. */
export interface Loss {
  reason: string;
  unsent: number;
}

type EventName = AnyEvent['event'];
type EventOf<Name extends EventName> = Extract<AnyEvent, { event: Name }>;
type Without<Command extends AnyCommand['command']> = Omit<
  Extract<AnyCommand, { command: Command }>,
  'command'
>;

/** What a client emits: each event of the library under its own name and under "event", and what becomes of it. */
export type LibraryEvents = { [Name in EventName]: [event: EventOf<Name>] } & {
  event: [event: AnyEvent];
  /** A frame that holds no event that this client knows. */
  unknown: [frame: Frame];
  /** Everything is written that was queued, after `send` said false. */
  drain: [];
  lost: [loss: Loss];
  /** Connected again. The library keeps everything as it was, and sends what came up meanwhile. */
  back: [];
  /** No further tries. */
  'given-up': [error: ConnectError];
  close: [];
};

export interface Client {
  on<Name extends keyof LibraryEvents>(name: Name, listener: (...args: LibraryEvents[Name]) => void): this;
  once<Name extends keyof LibraryEvents>(name: Name, listener: (...args: LibraryEvents[Name]) => void): this;
  off<Name extends keyof LibraryEvents>(name: Name, listener: (...args: LibraryEvents[Name]) => void): this;
  emit<Name extends keyof LibraryEvents>(name: Name, ...args: LibraryEvents[Name]): boolean;
}

interface Pong {
  resolve(milliseconds: number): void;
  reject(error: Error): void;
  sent: number;
}

interface Queued {
  bytes: Buffer;
  pong?: Pong;
}

const EVENT_NAMES = new Set<string>([
  'device-inited',
  'arrived',
  'removed',
  'activated',
  'inactivated',
  'key-pressed',
  'audio-recognized',
  'voice-evaluated',
  'evaluated',
  'voice-record',
] satisfies EventName[]);

/** When a connection of this process to a path has ended. */
const ended = new Map<string, number>();

/** Connects; rejects with a ConnectError that says what is the matter. */
export async function connect(options: ClientOptions = {}): Promise<Client> {
  const client = new Client(options);
  await client.connect();
  return client;
}

/**
 * A teaching application's end of the pipe. It reads all the time, whatever the application does: what wasn't handled
 * yet waits here, and `waiting` tells how much that is. Each event is handed over in a turn of its own, so code that
 * awaits one event and then another misses none between them.
 */
// eslint-disable-next-line @typescript-eslint/no-unsafe-declaration-merging
export class Client extends EventEmitter {
  readonly #options: Required<Omit<ClientOptions, 'signal'>>;
  readonly #signal: AbortSignal | undefined;
  #wire: Wire | undefined;
  #served = false;
  #closed = false;
  #everConnected = false;
  #reader = new FrameReader();
  #outgoing: Queued[] = [];
  #unsent = 0;
  #writing = false;
  #full = false;
  #pongs: Pong[] = [];
  #flushes: { resolve(): void; reject(error: Error): void }[] = [];
  #incoming: (() => void)[] = [];
  #delivering = false;
  #iterators = new Set<EventQueue>();
  #greeting: ((result: 'served' | Error) => void) | undefined;
  #stop = new AbortController();

  constructor(options: ClientOptions = {}) {
    super();
    const { signal, ...rest } = options;
    this.#signal = signal;
    this.#options = {
      path: DEFAULT_PIPE,
      connectTimeout: 10_000,
      retryPause: 500,
      pingTimeout: 5_000,
      reconnect: true,
      check: true,
      sendLimit: 1024 * 1024,
      ...rest,
    };
  }

  get connected(): boolean {
    return this.#served;
  }

  /** How many things have come that were not handled yet. */
  get waiting(): number {
    return [...this.#iterators].reduce((most, one) => Math.max(most, one.size), this.#incoming.length);
  }

  /** Bytes that are queued and not yet written. */
  get unsent(): number {
    return this.#unsent;
  }

  /** Waits for the pipe, opens it, and pings once: when this resolves, the library has answered. Once for each client. */
  async connect(): Promise<void> {
    if (this.#everConnected || this.#closed) {
      throw new Error('a client connects once; make another one');
    }
    this.#everConnected = true;
    this.#signal?.addEventListener('abort', () => this.#stop.abort(), { once: true });
    if (this.#signal?.aborted) {
      this.#stop.abort();
    }
    try {
      await this.#enter(this.#options.connectTimeout);
    } catch (error) {
      this.#closed = true;
      throw error;
    }
  }

  // ---- commands -----------------------------------------------------------------------------------------------------

  init(preferred: Without<'init'>['preferred-device-type'], id?: string): boolean {
    return this.send({ command: 'init', 'preferred-device-type': preferred, ...(id === undefined ? {} : { id }) });
  }

  ask(question: Without<'ask'>): boolean {
    return this.send({ command: 'ask', ...question });
  }

  /** Closes the question at one keypad, or at all ("0"). */
  stop(display: Without<'stop'>): boolean {
    return this.send({ command: 'stop', ...display });
  }

  text(display: Without<'text'>): boolean {
    return this.send({ command: 'text', ...display });
  }

  hi(signals: Without<'hi'>): boolean {
    return this.send({ command: 'hi', ...signals });
  }

  drop(device: string): boolean {
    return this.send({ command: 'drop', device });
  }

  /** Asks the host process to end. */
  quit(): boolean {
    return this.send({ command: 'quit' });
  }

  /**
   * Queues one command, in a frame of its own with a write of its own. False means: it is queued, but more than
   * `sendLimit` waits, so wait for "drain". Throws where there is no connection, and for a command that doesn't fit the
   * schema: the library would drop it without a word, or even end.
   */
  send(command: AnyCommand): boolean {
    if (this.#options.check) {
      checkCommand(command);
    }
    return this.#queue({ bytes: jsonFrame(JSON.stringify(command)) });
  }

  /** Resolves when everything that was queued is written; rejects when the connection is lost before that. */
  flush(): Promise<void> {
    if (this.#outgoing.length === 0) {
      return Promise.resolve();
    }
    return new Promise((resolve, reject) => this.#flushes.push({ resolve, reject }));
  }

  /** Resolves with the milliseconds that the reply took. The library answers pings at once, also while it is busy. */
  ping(timeout = this.#options.pingTimeout): Promise<number> {
    return new Promise((resolve, reject) => {
      const timer = setTimeout(() => pong.reject(new Error(`no reply within ${timeout} ms`)), timeout);
      const pong: Pong = {
        sent: performance.now(),
        resolve: (milliseconds) => {
          clearTimeout(timer);
          resolve(milliseconds);
        },
        reject: (error) => {
          clearTimeout(timer);
          reject(error);
        },
      };
      try {
        this.#queue({ bytes: pingFrame(), pong });
        this.#pongs.push(pong);
      } catch (error) {
        pong.reject(error as Error);
      }
    });
  }

  // ---- events -------------------------------------------------------------------------------------------------------

  /** The next event of this name that passes the filter. Rejects after the time, where one is given, and at the end. */
  next<Name extends EventName>(
    name: Name,
    filter: (event: EventOf<Name>) => boolean = () => true,
    options: { timeout?: number } = {},
  ): Promise<EventOf<Name>> {
    return new Promise((resolve, reject) => {
      const done = (settle: () => void): void => {
        clearTimeout(timer);
        this.off(name, listener as never);
        this.off('given-up', fail);
        this.off('close', closed);
        settle();
      };
      const listener = (event: EventOf<Name>): void => {
        if (filter(event)) {
          done(() => resolve(event));
        }
      };
      const fail = (error: Error): void => done(() => reject(error));
      const closed = (): void => fail(new Error(`closed while waiting for "${name}"`));
      const timer =
        options.timeout === undefined
          ? undefined
          : setTimeout(() => fail(new Error(`no "${name}" within ${options.timeout} ms`)), options.timeout);
      this.on(name, listener as never);
      this.on('given-up', fail);
      this.on('close', closed);
    });
  }

  /**
   * All events from here on, in their order, at the pace of who asks. Goes on over lost connections, ends with `close`,
   * and throws where there are no further tries.
   */
  [Symbol.asyncIterator](): AsyncIterableIterator<AnyEvent> {
    const queue = new EventQueue(() => this.#iterators.delete(queue));
    if (this.#closed) {
      queue.end();
    } else {
      this.#iterators.add(queue);
    }
    return queue;
  }

  // ---- the end ------------------------------------------------------------------------------------------------------

  /** Writes what is queued, and hangs up. */
  async close(): Promise<void> {
    if (this.#served) {
      await this.flush().catch(() => undefined);
    }
    this.#finish();
  }

  #finish(error?: ConnectError): void {
    if (this.#closed) {
      return;
    }
    this.#closed = true;
    this.#stop.abort();
    this.#hangUp();
    this.#drop(new Error('the client was closed'));
    this.#deliver(() => {
      for (const queue of [...this.#iterators]) {
        queue.end(error);
      }
      if (error) {
        this.emit('given-up', error);
      }
      this.emit('close');
    });
  }

  // ---- the connection -----------------------------------------------------------------------------------------------

  /** Opens the pipe, and makes sure that somebody serves it. */
  async #enter(timeout: number): Promise<void> {
    const deadline = performance.now() + timeout;
    let tried = -Infinity;
    for (;;) {
      await this.#pause(() => {
        const last = Math.max(tried, ended.get(this.#options.path) ?? -Infinity);
        return Math.min(last + this.#options.retryPause, deadline);
      });
      if (this.#stop.signal.aborted) {
        throw new ConnectError('cancelled');
      }
      let failure: ConnectFailure = 'failed';
      let cause: unknown;
      try {
        await this.#open();
        return;
      } catch (error) {
        if (error instanceof ConnectError) {
          throw error;
        }
        failure = error instanceof OpenError ? error.failure : 'failed';
        cause = error;
      }
      if (this.#stop.signal.aborted) {
        throw new ConnectError('cancelled');
      }
      if (performance.now() >= deadline) {
        throw new ConnectError(failure, cause);
      }
      tried = performance.now();
    }
  }

  /** Until a time, which may move on meanwhile; ends early where the client is closed. */
  async #pause(until: () => number): Promise<void> {
    const { signal } = this.#stop;
    for (let left = until() - performance.now(); left > 0 && !signal.aborted; left = until() - performance.now()) {
      await pause(Math.ceil(left), undefined, { signal }).catch(() => undefined);
    }
  }

  #hangUp(): void {
    if (this.#wire) {
      this.#wire.destroy();
      this.#wire = undefined;
      ended.set(this.#options.path, performance.now());
    }
  }

  async #open(): Promise<void> {
    this.#reader = new FrameReader();
    const wire = await openWire(this.#options.path, {
      data: (bytes) => this.#onData(bytes),
      lost: (reason) => this.#onLost(reason),
    });
    this.#wire = wire;
    if (this.#stop.signal.aborted) {
      this.#hangUp();
      throw new ConnectError('cancelled');
    }
    // Whatever comes shows that somebody serves: events that nobody has heard yet come before the reply.
    await new Promise<void>((resolve, reject) => {
      const cancel = (): void => this.#greeting?.(new ConnectError('cancelled'));
      const timer = setTimeout(
        () => this.#greeting?.(new ConnectError('not-served')),
        this.#options.pingTimeout,
      );
      this.#greeting = (result) => {
        this.#greeting = undefined;
        clearTimeout(timer);
        this.#stop.signal.removeEventListener('abort', cancel);
        if (result === 'served') {
          this.#served = true;
          resolve();
        } else {
          this.#hangUp();
          reject(result);
        }
      };
      this.#stop.signal.addEventListener('abort', cancel, { once: true });
      this.#pongs = [{ sent: performance.now(), resolve: () => undefined, reject: () => undefined }];
      this.#writing = true;
      wire.write(pingFrame(), () => {
        this.#writing = false;
        this.#write();
      });
    });
  }

  #onData(bytes: Buffer): void {
    let frames: Frame[];
    try {
      frames = this.#reader.add(bytes);
    } catch (error) {
      this.#onLost((error as Error).message);
      return;
    }
    if (frames.length > 0) {
      this.#greeting?.('served');
    }
    for (const frame of frames) {
      if (isPingReply(frame)) {
        const pong = this.#pongs.shift();
        pong?.resolve(performance.now() - pong.sent);
      } else {
        this.#deliver(() => this.#hand(frame));
      }
    }
  }

  #onLost(reason: string): void {
    this.#hangUp();
    if (this.#greeting) {
      this.#greeting(new Error(reason));
      return;
    }
    if (!this.#served || this.#closed) {
      return;
    }
    const unsent = this.#drop(new Error(`the connection was lost: ${reason}`));
    this.#deliver(() => this.emit('lost', { reason, unsent }));
    if (this.#options.reconnect) {
      void this.#comeBack();
    } else {
      this.#finish();
    }
  }

  async #comeBack(): Promise<void> {
    try {
      await this.#enter(Infinity);
      this.#deliver(() => this.emit('back'), 'first');
    } catch (error) {
      if (!this.#closed) {
        this.#finish(error as ConnectError);
      }
    }
  }

  /** Forgets what was under way; gives the number of frames that were not written. */
  #drop(error: Error): number {
    this.#served = false;
    const unsent = this.#outgoing.length;
    this.#outgoing = [];
    this.#unsent = 0;
    this.#writing = false;
    this.#full = false;
    for (const one of [...this.#pongs.splice(0), ...this.#flushes.splice(0)]) {
      one.reject(error);
    }
    return unsent;
  }

  #queue(queued: Queued): boolean {
    if (!this.#served) {
      throw new Error('not connected');
    }
    this.#outgoing.push(queued);
    this.#unsent += queued.bytes.length;
    this.#write();
    this.#full ||= this.#unsent > this.#options.sendLimit;
    return !this.#full;
  }

  /** One write at a time, one frame each: several that are handed over at once could leave as one, or in pieces. */
  #write(): void {
    const wire = this.#wire;
    const next = this.#outgoing[0];
    if (!wire || this.#writing || !next || !this.#served) {
      return;
    }
    this.#writing = true;
    if (next.pong) {
      next.pong.sent = performance.now();
    }
    wire.write(next.bytes, (error) => {
      // What a lost connection still tells is no concern of the next one's.
      if (wire !== this.#wire || error) {
        return;
      }
      this.#writing = false;
      this.#outgoing.shift();
      this.#unsent -= next.bytes.length;
      if (this.#outgoing.length === 0) {
        for (const one of this.#flushes.splice(0)) {
          one.resolve();
        }
        if (this.#full) {
          this.#full = false;
          this.#deliver(() => this.emit('drain'));
        }
      }
      this.#write();
    });
  }

  // ---- handing over -------------------------------------------------------------------------------------------------

  #hand(frame: Frame): void {
    let event: AnyEvent | undefined;
    if (isMessage(frame)) {
      try {
        event = JSON.parse(frame.payload.toString('utf8')) as AnyEvent;
      } catch {
        event = undefined;
      }
    }
    if (typeof event !== 'object' || event === null || !EVENT_NAMES.has(event.event)) {
      this.emit('unknown', frame);
      return;
    }
    for (const queue of this.#iterators) {
      queue.push(event);
    }
    this.emit('event', event);
    this.emit(event.event, event as never);
  }

  #deliver(item: () => void, place: 'first' | 'last' = 'last'): void {
    if (place === 'first') {
      this.#incoming.unshift(item);
    } else {
      this.#incoming.push(item);
    }
    if (!this.#delivering) {
      this.#delivering = true;
      setImmediate(() => this.#deliverOne());
    }
  }

  #deliverOne(): void {
    const item = this.#incoming.shift();
    if (!item) {
      this.#delivering = false;
      return;
    }
    setImmediate(() => this.#deliverOne());
    item();
  }
}

function checkCommand(command: AnyCommand): void {
  const validate = validators[command.command];
  if (!validate) {
    throw new TypeError(`no command is named "${String(command.command)}"`);
  }
  if (!validate(command)) {
    const faults = (validate.errors ?? []).map((error) => {
      const key = (error.params as { missingProperty?: string }).missingProperty;
      return `${error.instancePath || 'command'} ${error.message ?? key ?? ''}`.trim();
    });
    throw new TypeError(`"${command.command}" doesn't fit its schema: ${faults.join('; ')}`);
  }
}

/** Events for one `for await`. */
class EventQueue implements AsyncIterableIterator<AnyEvent> {
  #events: AnyEvent[] = [];
  #takers: { resolve(result: IteratorResult<AnyEvent>): void; reject(error: Error): void }[] = [];
  #ended = false;
  #error: Error | undefined;

  constructor(private readonly forget: () => void) {}

  get size(): number {
    return this.#events.length;
  }

  push(event: AnyEvent): void {
    const taker = this.#takers.shift();
    if (taker) {
      taker.resolve({ value: event, done: false });
    } else {
      this.#events.push(event);
    }
  }

  end(error?: Error): void {
    this.#ended = true;
    this.#error = error;
    this.forget();
    for (const taker of this.#takers.splice(0)) {
      if (error) {
        taker.reject(error);
      } else {
        taker.resolve({ value: undefined, done: true });
      }
    }
  }

  next(): Promise<IteratorResult<AnyEvent>> {
    const event = this.#events.shift();
    if (event) {
      return Promise.resolve({ value: event, done: false });
    }
    if (this.#error) {
      const error = this.#error;
      this.#error = undefined;
      return Promise.reject(error);
    }
    if (this.#ended) {
      return Promise.resolve({ value: undefined, done: true });
    }
    return new Promise((resolve, reject) => this.#takers.push({ resolve, reject }));
  }

  return(): Promise<IteratorResult<AnyEvent>> {
    this.#events = [];
    this.end();
    return Promise.resolve({ value: undefined, done: true });
  }

  [Symbol.asyncIterator](): AsyncIterableIterator<AnyEvent> {
    return this;
  }
}
