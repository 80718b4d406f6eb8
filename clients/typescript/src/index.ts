export { Client, ConnectError, connect, DEFAULT_PIPE } from './client.js';
export type { ClientOptions, ConnectFailure, LibraryEvents, Loss } from './client.js';
export type * from './messages.js';
