// A real host with the real library, in a folder of its own, and the simulated classroom inside it.
import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { copyFileSync, existsSync, mkdirSync, readFileSync, readdirSync, rmSync } from 'node:fs';
import http from 'node:http';
import path from 'node:path';
import { setTimeout as pause } from 'node:timers/promises';
import { collect } from './support.mjs';

const FILES = [
  'vdhost.exe',
  'VDIPC.dll',
  'Classroom.dll',
  'Grundkit.dll',
  'Trackwire.dll',
  'SocketVoteDeck.dll',
  'VoteDeck.dll',
  'ZVNSpeech.dll',
  'rv2.vbs',
];

export class Host {
  /** `binaries` is where the built files lie, `folder` is made for this host. */
  static async start(binaries, folder) {
    const host = new Host();
    host.folder = folder;
    rmSync(folder, { recursive: true, force: true });
    mkdirSync(folder, { recursive: true });
    for (const file of FILES) {
      copyFileSync(path.join(binaries, file), path.join(folder, file));
    }
    await host.run();
    return host;
  }

  async run() {
    const portFile = path.join(this.folder, 'classroom.port');
    const pipes = () => this.log().split('CreateServerPipe end').length;
    const before = pipes();
    rmSync(portFile, { force: true });
    this.process = spawn(path.join(this.folder, 'vdhost.exe'), [], {
      cwd: this.folder,
      stdio: ['pipe', 'ignore', 'ignore'],
      env: { ...process.env, CLASSROOM_PORT: '0', CLASSROOM_STATION: 'up' },
    });
    this.process.stdin.on('error', () => undefined);
    this.ended = once(this.process, 'exit');
    await until(() => existsSync(portFile) && readFileSync(portFile, 'utf8') !== '', 'the classroom comes up');
    this.port = Number(readFileSync(portFile, 'utf8'));
    // Who opens the pipe in the moment of its making is never served.
    await until(() => pipes() > before, 'the library makes its pipe');
    await pause(100);
  }

  /** Ends as a crash would. */
  async kill() {
    this.process.kill();
    await this.ended;
  }

  /** Ends by the end of its input; gives the exit code. */
  async stop() {
    this.process.stdin.end();
    return (await this.ended)[0];
  }

  do(action) {
    return this.#ask('POST', '/do', JSON.stringify(action));
  }

  state() {
    return this.#ask('GET', '/state');
  }

  async calls(name) {
    const saw = await this.#ask('GET', '/saw?since=0&wait_ms=0');
    return (saw.saw ?? saw).filter((one) => one.call === name);
  }

  log() {
    const name = readdirSync(this.folder).find((one) => one.startsWith('vote_deck.'));
    return name === undefined ? '' : readFileSync(path.join(this.folder, name), 'latin1');
  }

  #ask(method, where, body) {
    return new Promise((resolve, reject) => {
      const request = http.request(
        { host: '127.0.0.1', port: this.port, method, path: where, agent: false },
        (answer) => {
          let text = '';
          answer.setEncoding('utf8');
          answer.on('data', (part) => (text += part));
          answer.on('end', () =>
            answer.statusCode === 200 ? resolve(JSON.parse(text)) : reject(new Error(`${where}: ${text}`)),
          );
        },
      );
      request.on('error', reject);
      request.end(body);
    });
  }
}

export async function until(condition, what, seconds = 90) {
  const deadline = performance.now() + seconds * 1000;
  while (!(await condition())) {
    if (performance.now() > deadline) {
      throw new Error(`in vain: ${what}`);
    }
    await pause(20);
  }
}

/** Brings the base station up, and so many keypads on. */
export async function begin(host, client, keypads) {
  client.init('audio');
  const state = await client.next('device-inited', undefined, { timeout: 90_000 });
  assert.deepEqual(state['avaliable-device'], ['RV2']);
  if (keypads > 0) {
    const all = collect(client, 'activated', keypads);
    await host.do({ do: 'connect', kind: 'RV2', from: 1, to: keypads });
    await all;
  }
}
