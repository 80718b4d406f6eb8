// The page's own server: what it is asked, and what it tells by itself.

/// A request that was refused or never arrived; the message is for people.
export class Refused extends Error {}

export class Server {
  #token = '';
  #source = null;
  #sent = Promise.resolve();

  /// `lost` are the words for a server that doesn't answer.
  constructor(lost) {
    this.lost = lost;
  }

  async #fetchToken() {
    const response = await fetch('/token');
    this.#token = (await response.json()).token;
    return this.#token;
  }

  async get(path) {
    const response = await this.#reach(() => fetch(path));
    return response.json();
  }

  /// Sends a value as JSON, a text as it stands, and returns the answer's. What is sent later waits for it: on connections side
  /// by side the second of two keys could arrive first.
  post(path, value) {
    const answer = this.#sent.then(() => this.#post(path, value));
    this.#sent = answer.catch(() => {});
    return answer;
  }

  /// A token of an earlier run of the server is renewed once.
  async #post(path, value) {
    const send = () => fetch(path, {
      method: 'POST',
      headers: {'Content-Type': 'application/json', 'X-Page-Token': this.#token},
      body: typeof value === 'string' ? value : JSON.stringify(value),
    });
    return this.#reach(async () => {
      if (!this.#token) {
        await this.#fetchToken();
      }
      let response = await send();
      let answer = await response.json();
      if (response.status === 403 && answer.reason === 'token') {
        await this.#fetchToken();
        response = await send();
        answer = await response.json();
      }
      if (!response.ok) {
        throw new Refused(answer.error ?? response.statusText);
      }
      return answer;
    });
  }

  async #reach(ask) {
    try {
      return await ask();
    } catch (error) {
      throw error instanceof Refused ? error : new Refused(this.lost);
    }
  }

  /// Follows a stream of server-sent events for ever. `handlers` has a function for each event's name, which gets its JSON;
  /// `changed` hears "open" (with whether the server is another run than before) and "lost".
  follow(path, handlers, changed) {
    let run = '';
    let retry = 0;
    const again = () => {
      this.#source?.close();
      changed('lost', false);
      clearTimeout(retry);
      retry = setTimeout(open, 500);
    };
    const open = async () => {
      let token;
      try {
        token = await this.#fetchToken();
      } catch {
        again();
        return;
      }
      const restarted = run !== '' && run !== token;
      run = token;
      const source = new EventSource(path);
      this.#source = source;
      source.addEventListener('open', () => changed('open', restarted));
      source.addEventListener('error', again);
      for (const [name, handle] of Object.entries(handlers)) {
        source.addEventListener(name, (event) => handle(JSON.parse(event.data)));
      }
    };
    open();
  }
}
