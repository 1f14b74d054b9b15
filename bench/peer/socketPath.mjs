import { homedir } from "node:os";
import { join } from "node:path";

/** Where the application listens. It depends on HOME, as for vostel-mcp. */
export const socketPath = join(homedir(), "Library", "Application Support", "com.vostel.vostel", "mcp.sock");
