/** One frame of the pipe: two numbers of its header, and its payload. */
export interface Frame {
  type: number;
  command: number;
  payload: Buffer;
}

const HEADER = 12;
const TYPE_JSON = 2018;
const TYPE_PING = 8;
const COMMAND_PING = 201;
const COMMAND_PING_REPLY = 202;

/** A payload of the library's is far below the greatest length; what is above it is no frame. */
const GREATEST_PAYLOAD = 256 * 1024 * 1024;

/** Header and payload in one piece: the library hangs up on a frame that comes with two writes. */
export function frameBytes(type: number, command: number, payload: Buffer): Buffer {
  const bytes = Buffer.alloc(HEADER + payload.length);
  bytes.writeInt32LE(type, 0);
  bytes.writeInt32LE(payload.length, 4);
  bytes.writeInt32LE(command, 8);
  payload.copy(bytes, HEADER);
  return bytes;
}

export function jsonFrame(json: string): Buffer {
  return frameBytes(TYPE_JSON, TYPE_JSON, Buffer.from(json, 'utf8'));
}

export function pingFrame(): Buffer {
  return frameBytes(TYPE_PING, COMMAND_PING, Buffer.alloc(0));
}

export function isMessage(frame: Frame): boolean {
  return frame.type === TYPE_JSON;
}

export function isPingReply(frame: Frame): boolean {
  return frame.type === TYPE_PING && frame.command === COMMAND_PING_REPLY;
}

/** Puts frames together from what reads give: pieces of a frame, or many frames at once. */
export class FrameReader {
  #chunks: Buffer[] = [];
  #size = 0;

  /** The frames that are whole with these bytes. Throws at a length that no frame has; there is no going on then. */
  add(bytes: Buffer): Frame[] {
    this.#chunks.push(bytes);
    this.#size += bytes.length;
    const frames: Frame[] = [];
    if (this.#size < this.#needed()) {
      return frames;
    }
    // One copy for all pieces of a frame, not one for each piece that comes.
    const all = this.#chunks.length === 1 ? this.#chunks[0]! : Buffer.concat(this.#chunks);
    let at = 0;
    while (all.length - at >= HEADER) {
      const length = lengthAt(all, at);
      if (all.length - at < HEADER + length) {
        break;
      }
      frames.push({
        type: all.readInt32LE(at),
        command: all.readInt32LE(at + 8),
        payload: all.subarray(at + HEADER, at + HEADER + length),
      });
      at += HEADER + length;
    }
    this.#chunks = at < all.length ? [all.subarray(at)] : [];
    this.#size = all.length - at;
    return frames;
  }

  /** How many bytes the frame has that comes next, as far as it is known. */
  #needed(): number {
    if (this.#size < HEADER) {
      return HEADER;
    }
    if (this.#chunks[0]!.length < HEADER) {
      this.#chunks = [Buffer.concat(this.#chunks)];
    }
    return HEADER + lengthAt(this.#chunks[0]!, 0);
  }
}

function lengthAt(bytes: Buffer, at: number): number {
  const length = bytes.readInt32LE(at + 4);
  if (length < 0 || length > GREATEST_PAYLOAD) {
    throw new Error(`what came is no frame: it says that it has ${length} bytes`);
  }
  return length;
}
