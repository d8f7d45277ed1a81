// The middleware as the page knows it: requests to it, and what it tells.
import { Hub } from './hub.js';

const patienceMs = 2500; // a person takes a button for dead after 3 s

async function request(path, options, patience = patienceMs, read = (response) => response.json()) {
  let response;
  try {
    response = await fetch(path, { ...options, signal: AbortSignal.timeout(patience) });
    if (response.ok) {
      return await read(response);
    }
    throw Object.assign(new Error((await response.json()).error), { isAnswer: true });
  } catch (error) {
    if (error.isAnswer) {
      throw error;
    }
    throw new Error(error.name === 'TimeoutError' ? `Not sent: zelobox has not answered for ${patience / 1000} s`
      : 'Not sent: zelobox does not answer');
  }
}

/// Sends JSON; gives the answer or throws an Error with the middleware's own words.
export function post(path, body) {
  return request(path, { method: 'POST', body: JSON.stringify(body) });
}

export function get(path, patience) {
  return request(path, {}, patience);
}

/// Gives the lines of an answer that has one for each record.
export function getLines(path, patience) {
  return request(path, {}, patience, async (response) => (await response.text()).split('\n').filter(Boolean));
}

/// Asks until it is answered: without what it asks for, the page could not begin.
export async function load(path) {
  try {
    return await get(path);
  } catch {
    await new Promise((resolve) => { setTimeout(resolve, 500); });
    return load(path);
  }
}

/// "sent to 2 clients"
export function receiversText({ receivers, waiting = 0 }) {
  const clients = (count) => `${count} client${count === 1 ? '' : 's'}`;
  if (receivers === 0) {
    return 'nobody has subscribed to it';
  }
  const sent = receivers - waiting;
  return [sent ? `sent to ${clients(sent)}` : '', waiting ? `not yet sent to ${clients(waiting)}` : '']
    .filter(Boolean).join(', ');
}

/// Two ends that hand messages to each other, in place of a worker's where a browser has none to share.
function localPort() {
  const tab = { postMessage: (data) => hubEnd.onmessage({ data }) };
  const hubEnd = { postMessage: (data) => tab.onmessage({ data }) };
  new Hub().connect(hubEnd);
  return tab;
}

function sharedPort(onFailure) {
  if (typeof SharedWorker === 'undefined') {
    return localPort();
  }
  const worker = new SharedWorker('/hub-worker.js', { name: 'zelobox events 1', type: 'module' });
  worker.onerror = onFailure;
  return worker.port;
}

/// Calls back onState, onRecords(lines), onInstance and onLost until the page is closed.
export function listen({ onState, onRecords, onInstance, onLost }) {
  let port;
  let instance = '';
  let serial = 0;
  const show = () => port.postMessage({ shown: document.visibilityState === 'visible', instance, serial });
  const handlers = {
    hello: (data) => {
      const { instance: current } = JSON.parse(data);
      serial = current === instance ? serial : 0;
      instance = current;
      onInstance(current);
    },
    state: (data) => onState(JSON.parse(data)),
    records: (data) => {
      const records = data.split('\n').map((line) => ({ line, ...JSON.parse(line) }))
        .filter((record) => record.serial > serial); // a greeting may repeat what is known
      serial = records.at(-1)?.serial ?? serial;
      onRecords(records);
    },
    lost: onLost,
  };
  const use = (next) => {
    port = next;
    port.onmessage = ({ data }) => data.forEach(([name, text]) => handlers[name](text));
    show();
  };
  use(sharedPort(() => use(localPort())));
  document.addEventListener('visibilitychange', show);
  addEventListener('pageshow', show);
  addEventListener('pagehide', () => port.postMessage({ gone: true }));
}
