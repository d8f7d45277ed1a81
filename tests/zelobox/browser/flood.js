// A client of the middleware that sends as much as is wanted.
import { once } from 'node:events';
import { connect } from 'node:net';

export function frame(type, kind, payload) {
  const header = Buffer.alloc(8);
  header[0] = 0x6d;
  header[1] = kind;
  header.writeUInt16BE(type, 2);
  header.writeUInt32BE(payload.length, 4);
  return Buffer.concat([header, payload]);
}

/// IPC_VIDEO_WINDOW with a number in its x
export function windowFrame(number) {
  const payload = Buffer.alloc(9);
  payload.writeUInt16BE(number % 65536);
  return frame(29, 0, payload);
}

/// A text is its length, its bytes and a byte 0.
export function textFrame(type, text) {
  const length = Buffer.alloc(4);
  length.writeUInt32BE(Buffer.byteLength(text));
  return frame(type, 4, Buffer.concat([length, Buffer.from(text), Buffer.from([0])]));
}

export class Flood {
  static async start(path = '/tmp/zelo_messenger') {
    const flood = new Flood();
    flood.socket = connect(path);
    flood.socket.resume();
    await once(flood.socket, 'connect');
    flood.sent = 0;
    return flood;
  }

  /// So many window frames, numbered from the last on, in one write.
  send(count) {
    this.socket.write(Buffer.concat(Array.from({ length: count }, (_, i) => windowFrame(this.sent + i))));
    this.sent += count;
  }

  write(bytes) {
    this.socket.write(bytes);
  }

  stop() {
    this.socket.destroy();
  }
}
