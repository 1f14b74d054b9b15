import { homedir } from "node:os";
import { join } from "node:path";

/** Where the application listens; HOME decides, as it does for the server itself. */
export const socketPath = join(homedir(), "Library", "Application Support", "com.vostel.vostel", "mcp.sock");
