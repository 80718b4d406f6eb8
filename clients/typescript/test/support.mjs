// What the tests share: a server of our own on a socket, frames as the library writes them.
import { once } from 'node:events';
import { mkdtempSync, rmSync } from 'node:fs';
import net from 'node:net';
import os from 'node:os';
import path from 'node:path';

export const PING_REPLY = Buffer.from('0800000000000000ca000000', 'hex');
export const PING = Buffer.from('0800000000000000c9000000', 'hex');

export function frame(json) {
  const payload = Buffer.from(typeof json === 'string' ? json : JSON.stringify(json), 'utf8');
  return header(2018, payload.length, 2018, payload);
}

export function header(type, length, command, payload = Buffer.alloc(0)) {
  const bytes = Buffer.alloc(12);
  bytes.writeInt32LE(type, 0);
  bytes.writeInt32LE(length, 4);
  bytes.writeInt32LE(command, 8);
  return Buffer.concat([bytes, payload]);
}

export const activated = (device) =>
  frame({ event: 'activated', id: '7c9e6679-7425-40de-944b-e07fc1f90e0e', device: String(device) });

/** A server that greets, and gives its connections to the test one after the other. */
export class Server {
  #folder = mkdtempSync(path.join(os.tmpdir(), 'vdipc-client-'));
  path = path.join(this.#folder, 'pipe');
  #server;
  greet = true;
  #sockets = [];
  #takers = [];

  async listen({ greet = true } = {}) {
    this.greet = greet;
    this.#server = net.createServer((socket) => {
      socket.on('error', () => undefined);
      socket.received = Buffer.alloc(0);
      const answer = (bytes) => {
        socket.received = Buffer.concat([socket.received, bytes]);
        if (this.greet && !socket.greeted && socket.received.length >= PING.length) {
          socket.greeted = true;
          socket.received = socket.received.subarray(PING.length);
          socket.write(PING_REPLY);
        }
        socket.emit('received');
      };
      socket.on('data', answer);
      const taker = this.#takers.shift();
      taker ? taker(socket) : this.#sockets.push(socket);
    });
    this.#server.listen(this.path);
    await once(this.#server, 'listening');
  }

  /** The next connection. */
  client() {
    const socket = this.#sockets.shift();
    return socket ? Promise.resolve(socket) : new Promise((resolve) => this.#takers.push(resolve));
  }

  async close() {
    if (this.#server) {
      this.#server.close();
      this.#server = undefined;
    }
    rmSync(this.#folder, { recursive: true, force: true });
  }
}

/** Takes so many bytes from what the client has written. */
export async function take(socket, count) {
  while (socket.received.length < count) {
    await once(socket, 'received');
  }
  const bytes = socket.received.subarray(0, count);
  socket.received = socket.received.subarray(count);
  return bytes;
}

/** Collects events of a name until there are so many. */
export async function collect(client, name, count) {
  const events = [];
  for await (const event of client) {
    if (event.event === name && events.push(event) === count) {
      return events;
    }
  }
  return events;
}
