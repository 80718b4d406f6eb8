// What the tests of the pages stand on: a real host with the real library under Wine, clients, and a browser.
import {spawn} from 'node:child_process';
import {existsSync, linkSync, mkdirSync, mkdtempSync, readdirSync, readFileSync, rmSync, writeFileSync} from 'node:fs';
import {join} from 'node:path';
import {chromium} from 'playwright-core';

const root = process.env.VDIPC_ROOT;
const bin = process.env.VDIPC_BIN;
const work = join(root, 'build', 'page-tests');
const FILES = ['vdhost.exe', 'VDIPC.dll', 'Classroom.dll', 'Grundkit.dll', 'Trackwire.dll', 'SocketVoteDeck.dll',
  'VoteDeck.dll', 'ZVNSpeech.dll', 'rv2.vbs'];

const windowsPath = (path) => `Z:${path.replaceAll('/', '\\')}`;

/// Waits until `condition` gives something true, and returns that; fails with `what` after `seconds`.
export async function until(what, condition, seconds = 90) {
  const deadline = Date.now() + seconds * 1000;
  for (;;) {
    const value = await condition();
    if (value) {
      return value;
    }
    if (Date.now() > deadline) {
      throw new Error(`not within ${seconds} s: ${what}`);
    }
    await new Promise((resolve) => setTimeout(resolve, 20));
  }
}

/// A Windows program, and what it wrote.
class Program {
  static all = [];

  constructor(args, environment) {
    Program.all.push(this);
    this.output = '';
    this.process = spawn(join(root, 'cmake', 'wine-run'), args, {
      env: {...process.env, ...environment}, stdio: ['pipe', 'pipe', 'pipe'],
    });
    for (const stream of [this.process.stdout, this.process.stderr]) {
      stream.on('data', (data) => { this.output += data; });
    }
    this.process.stdin.on('error', () => {});
    this.ended = new Promise((resolve) => this.process.on('exit', resolve));
  }

  get running() {
    return this.process.exitCode === null && this.process.signalCode === null;
  }

  /// As Ctrl-C does: the end of its input.
  async stop() {
    this.process.stdin.end();
    const timer = setTimeout(() => this.process.kill('SIGKILL'), 15000);
    await this.ended;
    clearTimeout(timer);
  }

  async kill() {
    this.process.kill('SIGKILL');
    await this.ended;
  }
}

/// A host in a folder of its own, and the classroom inside it.
export class Host {
  static async start(environment = {}) {
    const host = new Host();
    mkdirSync(work, {recursive: true});
    host.folder = mkdtempSync(join(work, 'host-'));
    for (const file of FILES) {
      linkSync(join(bin, file), join(host.folder, file));
    }
    host.environment = environment;
    host.port = 0;  // any that is free
    await host.again();
    return host;
  }

  /// Starts the program, for the first time or once more, with the same port.
  async again() {
    rmSync(this.portFile, {force: true});
    this.program = new Program([join(this.folder, 'vdhost.exe'), '--keep-running'],
      {CLASSROOM_PORT: String(this.port), ...this.environment});
    await until('the host and its classroom are up', () => {
      if (!this.program.running) {
        throw new Error(`the host ended: ${this.program.output}`);
      }
      this.port = existsSync(this.portFile) ? Number(readFileSync(this.portFile, 'latin1')) : this.port;
      return this.port > 0 && existsSync(this.portFile) && this.program.output.includes('"started"');
    });
  }

  get portFile() {
    return join(this.folder, 'classroom.port');
  }

  get url() {
    return `http://127.0.0.1:${this.port}/`;
  }

  async do(action) {
    const answer = await fetch(`${this.url}do`, {method: 'POST', body: JSON.stringify(action)});
    const value = await answer.json();
    if (!value.ok) {
      throw new Error(`${JSON.stringify(action)}: ${value.error}`);
    }
    return value;
  }

  async state(query = '') {
    return (await fetch(`${this.url}state${query}`)).json();
  }

  keypad(number, kind = 'RV2') {
    return this.state(`?kind=${kind}&keypad=${number}`).then((state) => state.keypads[0]);
  }

  async end() {
    const {misuse} = this.program.running ? await this.state('?keypads=0') : {misuse: []};
    await this.program.kill();
    rmSync(this.folder, {recursive: true, force: true});
    if (misuse.length > 0) {
      throw new Error(`misuse of the closed libraries: ${JSON.stringify(misuse)}`);
    }
  }
}

/// Runs a program to its end, and gives what it wrote.
async function run(name, args) {
  const program = new Program([join(bin, name), ...args], {});
  program.process.stdin.end();
  const code = await program.ended;
  if (code !== 0) {
    throw new Error(`${name} ended with ${code}: ${program.output}`);
  }
  return program.output;
}

/// A folder that goes with `end`.
export class Folder {
  constructor() {
    mkdirSync(work, {recursive: true});
    this.path = mkdtempSync(join(work, 'files-'));
  }

  file(name) {
    return join(this.path, name);
  }

  /// What vdlog says; names of files that begin with this folder's path are Windows' then.
  vdlog(...args) {
    return run('vdlog.exe', args.map((arg) => (arg.startsWith(this.path) ? windowsPath(arg) : arg)));
  }

  /// Plays a lesson with the real library, and gives the path of its log.
  async play(lesson) {
    await run('vdlesson.exe', [windowsPath(join(root, 'lessons', lesson)), '--directory', windowsPath(this.path)]);
    return this.file(readdirSync(this.path).find((name) => /^vote_deck\..*\.log$/.test(name)));
  }

  end() {
    rmSync(this.path, {recursive: true, force: true});
  }
}

/// vdclient as a console: commands in, events out.
export class Console {
  constructor() {
    this.program = new Program([join(bin, 'vdclient.exe')], {});
  }

  get events() {
    return this.program.output.split('\n').filter((line) => line.startsWith('{')).map((line) => JSON.parse(line));
  }

  send(command) {
    this.program.process.stdin.write(`${JSON.stringify(command)}\n`);
  }

  event(name, fits = () => true) {
    return until(`event ${name}`, () => this.events.find((event) => event.event === name && fits(event)));
  }

  end() {
    return this.program.kill();
  }
}

/// vdclient with the teacher's page.
export class Teacher {
  static async start(host) {
    const teacher = new Teacher();
    teacher.program = new Program([join(bin, 'vdclient.exe'), '--page', '0', '--classroom', windowsPath(host.portFile)], {});
    await until('the teacher\'s page is served', async () => {
      if (!teacher.program.running) {
        throw new Error(`vdclient ended: ${teacher.program.output}`);
      }
      teacher.port = Number(teacher.program.output.match(/Teacher's page on http:\/\/127\.0\.0\.1:(\d+)\//)?.[1] ?? 0);
      return teacher.port > 0 && fetch(teacher.url).then((answer) => answer.ok, () => false);
    });
    return teacher;
  }

  get url() {
    return `http://127.0.0.1:${this.port}/`;
  }

  end() {
    return this.program.kill();
  }
}

/// A browser without a screen. Whatever a page complains about fails the test that calls end().
export class Browser {
  static async start(args = []) {
    const browser = new Browser();
    browser.complaints = [];
    browser.browser = await chromium.launch({executablePath: process.env.VDIPC_CHROMIUM || '/usr/bin/chromium',
      timeout: 90000,
      args: ['--no-sandbox', '--disable-dev-shm-usage', ...args]});
    return browser;
  }

  /// A page at an address. Complaints about a host that is gone are no surprise where the test lets it go.
  async open(url, options = {}, expected = /ERR_CONNECTION_REFUSED|ERR_INCOMPLETE_CHUNKED|ERR_CONNECTION_RESET|ERR_EMPTY_RESPONSE/) {
    const context = await this.browser.newContext({viewport: {width: 1280, height: 900}, reducedMotion: 'reduce', ...options});
    context.setDefaultTimeout(90000);
    const page = await context.newPage();
    const complain = (text) => {
      if (!expected.test(text)) {
        this.complaints.push(text);
      }
    };
    page.on('pageerror', (error) => complain(String(error.stack ?? error)));
    page.on('console', (message) => ['error', 'warning'].includes(message.type()) && complain(message.text()));
    page.on('request', (request) => {
      if (!/^(data:|blob:|file:|http:\/\/127\.0\.0\.1:)/.test(request.url())) {
        complain(`asked somebody else: ${request.url()}`);
      }
    });
    if (process.env.VDIPC_PAGE_SOURCES) {
      await this.#serveSources(page);
    }
    await page.goto(url);
    return page;
  }

  /// For work on the pages: files come from the tree, so that a change needs no build.
  async #serveSources(page) {
    await page.route(/\.(js|css)$/, (route) => {
      const path = new URL(route.request().url()).pathname;
      const places = path.startsWith('/common/') ? [join(root, 'tools', 'page', path)]
        : [join(root, 'standin', 'page', path), join(root, 'tools', 'vdclient', 'page', path)];
      const file = places.find(existsSync);
      return file ? route.fulfill({body: readFileSync(file), contentType: path.endsWith('.css') ? 'text/css' : 'text/javascript'})
        : route.continue();
    });
  }

  /// What the test asked for is no complaint.
  forgive(pattern) {
    this.complaints = this.complaints.filter((text) => !pattern.test(text));
  }

  async end() {
    await this.browser.close();
    if (this.complaints.length > 0) {
      throw new Error(`the pages complained: ${this.complaints.join('\n')}`);
    }
  }
}

/// Ends whatever was started, all of it, and then tells the first failure.
export async function endAll(...started) {
  const ends = await Promise.allSettled(started.map((one) => one?.end()));
  // A script of the station's that hangs holds the ends of its host's pipes, and this program would wait for it.
  for (const {process: program} of Program.all) {
    program.stdout.destroy();
    program.stderr.destroy();
  }
  const failed = ends.find((end) => end.status === 'rejected');
  if (failed) {
    throw failed.reason;
  }
}

/// What the accessibility checker says about a page: one line for each violation.
export async function accessibilityViolations(page) {
  const source = readFileSync(join(work, 'node_modules', 'axe-core', 'axe.min.js'), 'utf8');
  await page.evaluate(source);
  // What lies half beneath a bar that stays at the top is taken for small.
  await page.evaluate(() => scrollTo(0, 0));
  const {violations, passes} = await page.evaluate(() => globalThis.axe.run(document, {
    resultTypes: ['violations'],
    runOnly: ['wcag2a', 'wcag2aa', 'wcag21a', 'wcag21aa', 'wcag22aa', 'best-practice'],
  }));
  if (passes.length < 10) {
    throw new Error(`the accessibility checker found hardly anything to check: ${passes.length} rules`);
  }
  return violations.flatMap(({id, help, nodes}) => nodes.map((node) => `${id}: ${help}: ${node.target.join(' ')} ${node.failureSummary}`));
}

export const pictureFolder = () => process.env.VDIPC_PICTURES || join(work, 'pictures');

export function writeReport(name, text) {
  mkdirSync(work, {recursive: true});
  writeFileSync(join(work, name), text);
}
