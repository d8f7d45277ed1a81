// The middleware as the page knows it: requests to it, and what it tells.

/// Sends JSON; gives the answer or throws an Error with the middleware's own words.
export async function post(path, body) {
  let response;
  try {
    response = await fetch(path, { method: 'POST', body: JSON.stringify(body) });
  } catch {
    throw new Error('zelobox does not answer');
  }
  const answer = await response.json();
  if (!response.ok) {
    throw new Error(answer.error);
  }
  return answer;
}

export async function get(path) {
  return (await fetch(path)).json();
}

/// "sent to 2 clients"
export function receiversText(receivers) {
  if (receivers === 0) {
    return 'nobody has subscribed to it';
  }
  return `sent to ${receivers} client${receivers === 1 ? '' : 's'}`;
}

/// Calls back onState, onRecord, onInstance and onLink(isUp) until the page is closed. The browser comes back by itself
/// after a lost connection and says what it knows; only a refusal ends that, and is tried again here.
export function listen({ onState, onRecord, onInstance, onLink }) {
  const source = new EventSource('/api/events');
  source.addEventListener('hello', (event) => {
    onLink(true);
    onInstance(JSON.parse(event.data).instance);
  });
  source.addEventListener('state', (event) => onState(JSON.parse(event.data)));
  source.addEventListener('record', (event) => onRecord(JSON.parse(event.data)));
  source.addEventListener('error', () => {
    onLink(false);
    if (source.readyState === EventSource.CLOSED) {
      setTimeout(() => listen({ onState, onRecord, onInstance, onLink }), 1000);
    }
  });
}
