import * as fs from 'node:fs';
import * as net from 'node:net';

/** A connection of bytes. */
export interface Wire {
  /** Writes everything with one write; calls back when the system has taken it. One at a time. */
  write(bytes: Buffer, done: (error?: Error | null) => void): void;
  /** Hangs up, without a word to the listener. */
  destroy(): void;
}

export interface WireListener {
  data(bytes: Buffer): void;
  /** The connection is gone; called once. */
  lost(reason: string): void;
}

export type OpenFailure = 'nobody-serves' | 'another-client' | 'failed';

export class OpenError extends Error {
  constructor(
    readonly failure: OpenFailure,
    message: string,
  ) {
    super(message);
  }
}

/**
 * Tries once, and never waits for a pipe that is busy.
 *
 * `net.connect` does wait, inside libuv, where nobody can stop it: it sleeps until the library makes the pipe anew and
 * opens it in that very moment, which is the one moment in which the library can't serve a client, or anybody after it.
 * So a pipe is opened as a file, which says at once what is the matter. Such a handle does one thing at a time, and a
 * read that waits would hold up every write; reading is therefore interrupted for as long as a write takes.
 */
export function openWire(path: string, listener: WireListener): Promise<Wire> {
  return path.startsWith('\\\\') ? openPipe(path, listener) : openSocket(path, listener);
}

function openPipe(path: string, listener: WireListener): Promise<Wire> {
  return new Promise((resolve, reject) => {
    fs.open(path, 'r+', (error, fd) => {
      if (error) {
        reject(openError(error));
        return;
      }
      const socket = new net.Socket({
        fd,
        readable: true,
        writable: true,
        // With a buffer of its own, pause() interrupts the read at once instead of after what comes next.
        onread: {
          buffer: Buffer.allocUnsafe(65536),
          callback: (size: number, buffer: Uint8Array) => {
            listener.data(Buffer.from(buffer.subarray(0, size)));
            return true;
          },
        },
      } as net.SocketConstructorOpts);
      tellLoss(socket, listener);
      socket.resume();
      resolve({
        write(bytes, done) {
          socket.pause();
          socket.write(bytes, (failure) => {
            socket.resume();
            done(failure);
          });
        },
        destroy: () => silence(socket),
      });
    });
  });
}

/** Sockets of other systems: for tests, and for a library behind a relay. */
function openSocket(path: string, listener: WireListener): Promise<Wire> {
  return new Promise((resolve, reject) => {
    const socket = net.connect(path);
    const refuse = (error: NodeJS.ErrnoException): void => reject(openError(error));
    socket.once('error', refuse);
    socket.once('connect', () => {
      socket.off('error', refuse);
      tellLoss(socket, listener);
      socket.on('data', (bytes) => listener.data(bytes));
      resolve({
        write: (bytes, done) => void socket.write(bytes, done),
        destroy: () => silence(socket),
      });
    });
  });
}

function tellLoss(socket: net.Socket, listener: WireListener): void {
  let reason = 'the other side has hung up';
  socket.on('error', (error) => (reason = error.message));
  socket.on('end', () => socket.destroy());
  socket.on('close', () => listener.lost(reason));
}

function silence(socket: net.Socket): void {
  socket.removeAllListeners('close');
  socket.removeAllListeners('data');
  socket.destroy();
}

function openError(error: NodeJS.ErrnoException): OpenError {
  switch (error.code) {
    case 'ENOENT':
    case 'ECONNREFUSED':
      return new OpenError('nobody-serves', error.message);
    case 'EBUSY':
    case 'EAGAIN':
      return new OpenError('another-client', error.message);
    default:
      return new OpenError('failed', error.message);
  }
}
