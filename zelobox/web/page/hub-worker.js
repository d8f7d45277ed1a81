// The hub in a worker that the tabs share.
import { Hub } from './hub.js';

const hub = new Hub();
self.onconnect = ({ ports: [port] }) => hub.connect(port);
