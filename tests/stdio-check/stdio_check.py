"""Acts as the client of any MCP server over standard input and output, and reports which rules the server keeps.

    stdio_check.py [--long TOOL ARGUMENTS] -- COMMAND [ARGUMENT ...]

The long call should take ten seconds or more. Without it, the rule about cancellation is not checked. The exit status is 1
when a rule is broken. The rules are those of JSON-RPC 2.0 and of the MCP revision 2025-06-18.
"""
import argparse
import json
import queue
import subprocess
import sys
import threading
import time

TIMEOUT = 10.0  # seconds for an answer, and for the end of the process
SILENCE = 1.0  # seconds of silence that count as no answer
PAUSE = 0.01  # seconds between two pieces of a message
REVISION = "2025-06-18"


class Broken(Exception):
    """A rule is broken. The text says what the server did."""


class Server:
    """A server process. Reads its output in the background."""

    def __init__(self, command):
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.lines = queue.Queue()
        self.reader = threading.Thread(target=self.read, daemon=True)
        self.reader.start()

    def read(self):
        for line in self.process.stdout:
            self.lines.put(line)
        self.lines.put(None)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()
        self.reader.join()
        self.process.stdin.close()
        self.process.stdout.close()

    def write(self, data):
        self.process.stdin.write(data)
        self.process.stdin.flush()

    def send(self, *messages):
        self.write(b"".join(json.dumps(message).encode() + b"\n" for message in messages))

    def next(self, timeout):
        """Returns the next message, or None if none comes in that time. A line that is not a message breaks a rule."""
        try:
            line = self.lines.get(timeout=timeout)
        except queue.Empty:
            return None
        if line is None:
            raise Broken("ends its output")
        try:
            message = json.loads(line.decode("utf-8"))
        except ValueError as error:
            raise Broken(f"writes a line that is not JSON: {line[:80]!r}") from error
        if not isinstance(message, dict) or message.get("jsonrpc") != "2.0":
            raise Broken(f"writes a line that is not a message: {line[:80]!r}")
        return message

    def response(self, request_id):
        """Returns the response with this id. Skips the notifications before it."""
        deadline = time.monotonic() + TIMEOUT
        while (left := deadline - time.monotonic()) > 0:
            message = self.next(left)
            if message is None:
                break
            if "method" in message:
                continue
            if message.get("id") != request_id or type(message.get("id")) is not type(request_id):
                raise Broken(f"answers the id {request_id!r} with the id {message.get('id')!r}")
            return message
        raise Broken(f"does not answer the id {request_id!r}")

    def result(self, request_id):
        response = self.response(request_id)
        if "result" not in response:
            raise Broken(f"answers with {response.get('error')}")
        return response["result"]

    def error(self, request_id, code):
        response = self.response(request_id)
        if response.get("error", {}).get("code") != code:
            raise Broken(f"answers with {response}, not with the error {code}")

    def expect_silence(self):
        message = self.next(SILENCE)
        if message is not None:
            raise Broken(f"writes {message}")

    def expect_service(self):
        self.send(request("still here", "tools/list"))
        self.result("still here")


def request(request_id, method, params=None):
    message = {"jsonrpc": "2.0", "id": request_id, "method": method}
    return message if params is None else {**message, "params": params}


def notification(method, params=None):
    message = {"jsonrpc": "2.0", "method": method}
    return message if params is None else {**message, "params": params}


def initialize(request_id=0, revision=REVISION):
    return request(request_id, "initialize", {
        "protocolVersion": revision, "capabilities": {}, "clientInfo": {"name": "stdio-check", "version": "1"}})


# The rules. Each gets a new process of the server. Except for HANDSHAKES, the server is already initialised.

def initialize_agrees_on_a_revision(server, _long):
    server.send(initialize())
    result = server.result(0)
    for key in ("protocolVersion", "capabilities", "serverInfo"):
        if key not in result:
            raise Broken(f"answers without {key}")
    if result["protocolVersion"] != REVISION:
        raise Broken(f"offers {result['protocolVersion']} to a client of {REVISION}")


def an_unknown_revision_is_answered_by_a_known_one(server, _long):
    server.send(initialize(revision="1999-01-01"))
    if server.result(0)["protocolVersion"] == "1999-01-01":
        raise Broken("agrees on a revision that does not exist")


def a_response_has_the_id_of_its_request(server, _long):
    for request_id in (1, 0, -7, 2**53 - 1, "1", "", "\u0416 \u2028 \"quoted\""):
        server.send(request(request_id, "tools/list"))
        server.result(request_id)


def a_message_may_come_in_pieces(server, _long):
    for byte in json.dumps(request(1, "tools/list")).encode() + b"\n":
        server.write(bytes([byte]))
        time.sleep(PAUSE)
    server.result(1)


def several_messages_may_come_together(server, _long):
    server.send(*(request(number, "tools/list") for number in range(1, 4)))
    waiting = {1, 2, 3}
    while waiting:
        message = server.next(TIMEOUT)
        if message is None:
            raise Broken(f"does not answer the ids {waiting}")
        waiting.discard(message.get("id"))


def a_line_may_end_in_crlf(server, _long):
    server.write(json.dumps(request(1, "tools/list")).encode() + b"\r\n")
    server.result(1)


def a_line_of_a_megabyte_is_read(server, _long):
    server.send(request(1, "tools/list", {"_meta": {"filler": "x" * (1 << 20)}}))
    server.result(1)


def a_line_that_is_not_json_is_a_parse_error(server, _long):
    server.write(b"{oops\n")
    server.error(None, -32700)
    server.expect_service()


def a_line_that_is_not_utf_8_does_not_end_the_session(server, _long):
    server.write(b'{"jsonrpc":"2.0","id":1,"method":"\xff"}\n')
    server.send(request("still here", "tools/list"))
    # The first line may have an answer of any kind.
    while message := server.next(TIMEOUT):
        if message.get("id") == "still here":
            return
    raise Broken("does not answer the next request")


def an_unknown_method_is_an_error(server, _long):
    server.send(request(1, "no/such/method"))
    server.error(1, -32601)


def ping_is_answered(server, _long):
    server.send(request(1, "ping"))
    if server.result(1) != {}:
        raise Broken("answers with a result that is not empty")


def a_notification_is_not_answered(server, _long):
    server.send(notification("no/such/notification"))
    server.expect_silence()


def a_cancellation_of_an_unknown_call_is_ignored(server, _long):
    server.send(notification("notifications/cancelled", {"requestId": 99}))
    server.expect_silence()
    server.expect_service()


def a_cancelled_call_is_not_answered(server, long):
    tool, arguments = long
    server.send(request(1, "tools/call", {"name": tool, "arguments": arguments, "_meta": {"progressToken": 1}}))
    first = server.next(TIMEOUT)
    if first is None or first.get("method") != "notifications/progress":
        raise Broken(f"does not report progress of a long call, but {first}")
    server.send(notification("notifications/cancelled", {"requestId": 1}), request(2, "tools/list"))
    server.result(2)
    # A report that was already sent may still come.
    deadline = time.monotonic() + SILENCE
    while (left := deadline - time.monotonic()) > 0:
        message = server.next(left)
        if message is not None and "method" not in message:
            raise Broken(f"writes {message}")


def the_end_of_input_ends_the_process(server, _long):
    server.process.stdin.close()
    try:
        status = server.process.wait(TIMEOUT)
    except subprocess.TimeoutExpired as late:
        raise Broken(f"still runs {TIMEOUT:.0f} s after the end of its input") from late
    if status != 0:
        raise Broken(f"ends with the status {status}")


HANDSHAKES = (initialize_agrees_on_a_revision, an_unknown_revision_is_answered_by_a_known_one)
RULES = HANDSHAKES + (
    a_response_has_the_id_of_its_request, a_message_may_come_in_pieces, several_messages_may_come_together,
    a_line_may_end_in_crlf, a_line_of_a_megabyte_is_read, a_line_that_is_not_json_is_a_parse_error,
    a_line_that_is_not_utf_8_does_not_end_the_session, an_unknown_method_is_an_error, ping_is_answered,
    a_notification_is_not_answered, a_cancellation_of_an_unknown_call_is_ignored, a_cancelled_call_is_not_answered,
    the_end_of_input_ends_the_process)


def check(command, long=None, report=print, rules=RULES):
    """Reports one line for each rule, and returns the names of the broken rules."""
    broken = []
    for rule in rules:
        name = rule.__name__.replace("_", " ")
        if rule is a_cancelled_call_is_not_answered and long is None:
            report(f"-       {name}: needs a long call")
            continue
        try:
            with Server(command) as server:
                if rule not in HANDSHAKES:
                    server.send(initialize(), notification("notifications/initialized"))
                    server.result(0)
                rule(server, long)
            report(f"kept    {name}")
        except (Broken, OSError) as why:
            broken.append(rule.__name__)
            report(f"BROKEN  {name}: the server {why}")
    return broken


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--long", nargs=2, metavar=("TOOL", "ARGUMENTS"))
    parser.add_argument("command", nargs="+")
    options = parser.parse_args()
    long = options.long and (options.long[0], json.loads(options.long[1]))
    return 1 if check(options.command, long) else 0


if __name__ == "__main__":
    sys.exit(main())
