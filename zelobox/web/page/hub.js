// One stream of events for all tabs. A browser opens six connections to a host, for all its tabs together: with a stream
// for each tab, the seventh would wait for ever, and so would every request.
//
// A tab says {shown: true, instance, serial} when it can be seen, with the last record that it knows, {shown: false}
// when it cannot, and {gone: true} at its end. It is told [name, data] for each event, several at a time. While no tab can
// be seen, there is no stream.

const mostKept = 10000;
const mostKeptCharacters = 8 << 20;
const flushEveryMs = 200; // nobody reads faster, and what a tab draws costs more than a message

export class Hub {
  constructor(EventSourceClass = EventSource) {
    this.EventSourceClass = EventSourceClass;
    this.tabs = new Map(); // port: whether it is shown
    this.kept = []; // the latest records, one line each; oldest first
    this.characters = 0;
    this.lastSerial = 0;
    this.instance = '';
    this.state = undefined;
    this.isUp = false;
    this.waiting = [];
    this.lastFlush = 0;
  }

  /// @param port  a MessagePort, or what behaves like one
  connect(port) {
    port.onmessage = ({ data }) => this.onTab(port, data);
  }

  onTab(port, { shown, gone, instance, serial }) {
    if (gone) {
      this.tabs.delete(port);
    } else if (shown && !this.tabs.get(port)) {
      this.flush(); // to the others; this one is told all that is kept
      this.tabs.set(port, true);
      port.postMessage(this.greeting(instance === this.instance ? serial : 0));
    } else {
      this.tabs.set(port, Boolean(shown));
    }
    this.openOrClose();
  }

  /// All that a tab does not know which knows the records up to `known`.
  greeting(known) {
    if (!this.isUp) {
      return [];
    }
    const events = [['hello', this.hello], ['state', this.state]];
    const first = this.lastSerial - this.kept.length; // the serial before the first that is kept
    const lines = this.kept.slice(Math.max(0, known - first));
    return lines.length === 0 ? events : [...events, ['records', lines.join('\n')]];
  }

  openOrClose() {
    const isWanted = [...this.tabs.values()].includes(true);
    if (isWanted && !this.source) {
      this.open();
    } else if (!isWanted && this.source) {
      this.source.close();
      this.source = undefined;
      this.isUp = false;
    }
  }

  open() {
    const source = new this.EventSourceClass(`/api/events?after=${this.instance}-${this.lastSerial}`);
    this.source = source;
    source.addEventListener('hello', ({ data }) => this.onHello(data));
    source.addEventListener('state', ({ data }) => this.onState(data));
    source.addEventListener('records', ({ data, lastEventId }) => this.onRecords(data, lastEventId));
    source.addEventListener('error', () => this.onError(source));
  }

  onHello(data) {
    const { instance } = JSON.parse(data);
    if (instance !== this.instance) {
      this.instance = instance;
      this.kept = [];
      this.characters = 0;
      this.lastSerial = 0;
    }
    this.hello = data;
    this.tell('hello', data);
  }

  /// The first one follows the hello: only now is there enough to greet a tab with.
  onState(data) {
    this.state = data;
    this.isUp = true;
    this.tell('state', data);
  }

  onRecords(data, id) {
    const lines = data.split('\n');
    const last = Number(id.slice(id.lastIndexOf('-') + 1));
    if (last - lines.length !== this.lastSerial) { // some are missing: what is kept has no holes
      this.kept = [];
      this.characters = 0;
    }
    this.lastSerial = last;
    for (const line of lines) {
      this.kept.push(line);
      this.characters += line.length;
    }
    this.forgetOldest();
    this.tell('records', data);
  }

  /// Not at each record: the rest is copied.
  forgetOldest() {
    let count = 0;
    if (this.kept.length > mostKept * 1.1 || this.characters > mostKeptCharacters * 1.1) {
      while (this.kept.length - count > mostKept || (this.characters > mostKeptCharacters && count < this.kept.length)) {
        this.characters -= this.kept[count].length;
        count += 1;
      }
      this.kept = this.kept.slice(count);
    }
  }

  /// A lost connection is opened again by the browser; a refusal ends the stream, and is tried again here.
  onError(source) {
    this.isUp = false;
    this.tell('lost', '');
    if (source === this.source && source.readyState === this.EventSourceClass.CLOSED) {
      this.source = undefined;
      setTimeout(() => this.openOrClose(), 1000);
    }
  }

  /// At once after a pause, and in a burst many together.
  tell(name, data) {
    const isFirst = this.waiting.length === 0;
    if (name === 'state') { // the latest says all
      this.waiting = this.waiting.filter(([waitingName]) => waitingName !== 'state');
    }
    this.waiting.push([name, data]);
    if (isFirst) {
      setTimeout(() => this.flush(), Math.max(0, this.lastFlush + flushEveryMs - performance.now()));
    }
  }

  flush() {
    const events = this.waiting.splice(0);
    this.lastFlush = performance.now();
    for (const [port, isShown] of events.length === 0 ? [] : this.tabs) {
      if (isShown) {
        port.postMessage(events);
      }
    }
  }
}
