#!/usr/bin/env python3
"""Acts as vostel-mcp to any application at a socket, and reports which rules of the wire protocol the application keeps.

The quick call should end at once. The long call should take ten seconds or more and report progress. Without a long call,
the rules that need one are not checked. The exit status is 1 when a rule is broken. docs/wire-protocol.md explains the
rules.
"""
import argparse
import contextlib
import json
import os
import socket
import sys
import time
import uuid

# If the check is installed, the decoder is in the same folder.
sys.path.append(os.path.join(os.path.dirname(os.path.realpath(__file__)), "..", "second-decoder"))
import decoder  # noqa: E402

TIMEOUT = 10.0  # seconds to wait for each step of the application
PAUSE = 0.01  # seconds between two pieces of a frame
REACTION = 1.0  # seconds in which an application notices a change of another connection


class Broken(Exception):
    """A rule is broken. The text says what the application did."""


RULES = []


def rule(check):
    """Adds a method to the rules. The name of the method is the text of the rule."""
    RULES.append(check)
    return check


class NeedsLongCall(Exception):
    """Is raised by a rule that cannot be checked without a long call."""


class Connection:
    """One connection to the application. Waits at most TIMEOUT for each frame."""

    def __init__(self, path):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(TIMEOUT)
        self.socket.connect(path)
        self.received = b""

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def send(self, data):
        # An application may close a connection while its peer still writes.
        with contextlib.suppress(BrokenPipeError, ConnectionResetError):
            self.socket.sendall(data)

    def next(self):
        """Returns the next record, or None at the end."""
        while True:
            frames = decoder.records_of(self.received, decoder.FROM_APPLICATION)
            try:
                record = next(frames)
                self.received = self.received[4 + int.from_bytes(self.received[:4], "big"):]
                return record
            except StopIteration:
                pass
            except decoder.Refused as reason:
                raise Broken(f"sends a frame that is refused: {reason}") from reason
            try:
                data = self.socket.recv(65536)
            except ConnectionResetError:
                data = b""
            except TimeoutError as late:
                raise Broken(f"sends nothing for {TIMEOUT:.0f} s") from late
            if not data:
                if self.received:
                    raise Broken("closes in the middle of a frame")
                return None
            self.received += data

    def response(self):
        """Returns the first response, or None if the connection ends without one."""
        while True:
            record = self.next()
            if record is None or record["kind"] == "response":
                return record and record["payload"]

    def expect_end(self):
        if self.next() is not None:
            raise Broken("sends more, or does not close the connection")


def pieces(frame):
    """Each byte of the header by itself, then the payload in eight pieces. More would take too long on a busy machine: an
    application may close a connection that sends no whole frame for some seconds."""
    size = -(-(len(frame) - 4) // 8)
    return [frame[at:at + 1] for at in range(4)] + [frame[at:at + size] for at in range(4, len(frame), size)]


class Check:
    """The calls of one run, and the rules."""

    def __init__(self, path, quick, long):
        self.path = path
        self.quick = quick
        self.long = long

    def connect(self):
        return Connection(self.path)

    @staticmethod
    def request(call, **members):
        tool, arguments = call
        return {"kind": "request", "payload": {
            "protocolVersion": decoder.PROTOCOL_VERSION, "clientInfo": {"name": "wire-check", "version": "1"},
            "tool": tool, "arguments": arguments, "requestID": str(uuid.uuid4()).upper(), **members}}

    @staticmethod
    def cancellation(request):
        return {"kind": "cancellation", "payload": {
            "protocolVersion": decoder.PROTOCOL_VERSION, "requestID": request["payload"]["requestID"]}}

    def expect_answer(self, connection, request):
        response = connection.response()
        if response is None:
            raise Broken("closes the connection without a response")
        if response["requestID"] != request["payload"]["requestID"]:
            raise Broken("answers with the requestID of another call")
        if "result" not in response:
            raise Broken(f"answers with {response['error']}")
        return response["result"]

    def expect_service(self):
        """Checks that a quick call works now."""
        with self.connect() as connection:
            request = self.request(self.quick)
            connection.send(decoder.frame_of(request))
            self.expect_answer(connection, request)

    def long_request(self):
        if self.long is None:
            raise NeedsLongCall
        return self.request(self.long)

    @contextlib.contextmanager
    def running(self):
        """Starts a long call and waits for its first report of progress."""
        request = self.long_request()
        with self.connect() as connection:
            connection.send(decoder.frame_of(request))
            report = connection.next()
            if report is None or report["kind"] != "progress":
                raise Broken("ends the long call without any progress")
            yield request, connection
            cancel = decoder.frame_of(self.cancellation(request))
            with self.connect() as other:
                other.send(cancel)

    def expect_stopped(self, connection):
        """Checks that the call stops soon. Skips what it still sends."""
        start = time.monotonic()
        while connection.next() is not None:
            if time.monotonic() - start > TIMEOUT:
                raise Broken(f"continues for {TIMEOUT:.0f} s after the cancellation")

    @rule
    def a_call_is_answered(self):
        self.expect_service()

    @rule
    def a_frame_may_come_in_pieces(self):
        request = self.request(self.quick)
        with self.connect() as connection:
            for piece in pieces(decoder.frame_of(request)):
                connection.send(piece)
                time.sleep(PAUSE)
            self.expect_answer(connection, request)

    @rule
    def two_frames_may_come_together(self):
        with self.running() as (first, one), self.running() as (second, two), self.connect() as both:
            both.send(decoder.frame_of(self.cancellation(first)) + decoder.frame_of(self.cancellation(second)))
            self.expect_stopped(one)
            self.expect_stopped(two)

    @rule
    def unknown_keys_are_ignored(self):
        request = self.request(self.quick, added={"in": "a later version"})
        with self.connect() as connection:
            connection.send(decoder.frame_of(request))
            self.expect_answer(connection, request)

    @rule
    def an_unknown_tool_is_a_failed_result(self):
        request = self.request(("no_such_tool", {}))
        with self.connect() as connection:
            connection.send(decoder.frame_of(request))
            result = self.expect_answer(connection, request)
            if not isinstance(result, dict) or result.get("isError") is not True:
                raise Broken("answers without isError")

    @rule
    def another_version_is_refused(self):
        request = self.request(self.quick, protocolVersion=decoder.PROTOCOL_VERSION + 1)
        with self.connect() as connection:
            connection.send(decoder.frame_of(request))
            expected = {"requestID": request["payload"]["requestID"], "error": {
                "kind": "versionMismatch", "helper": decoder.PROTOCOL_VERSION + 1, "app": decoder.PROTOCOL_VERSION}}
            response = connection.response()
            if response != expected:
                raise Broken(f"answers with {response}")
            connection.expect_end()

    @rule
    def a_frame_that_is_too_long_is_refused_by_its_header(self):
        with self.connect() as connection:
            length = decoder.MAX_FRAME_LENGTH + 1
            connection.send(length.to_bytes(4, "big"))
            error = {"kind": "frameTooLarge", "declared": length, "limit": decoder.MAX_FRAME_LENGTH}
            response = connection.response()
            if response != {"requestID": "", "error": error}:
                raise Broken(f"answers with {response}")
        self.expect_service()

    @rule
    def a_frame_that_is_not_a_record_ends_only_its_connection(self):
        with self.connect() as connection:
            connection.send(b"\0\0\0\x02{]")
            connection.expect_end()
        self.expect_service()

    @rule
    def a_peer_that_stops_in_a_frame_delays_no_other(self):
        with self.connect() as stalled:
            stalled.send(b"\0\0")
            self.expect_service()

    @rule
    def progress_names_its_call_and_never_falls(self):
        with self.running() as (request, connection):
            last = 0.0
            for _ in range(3):
                report = connection.next()
                if report is None or report["kind"] != "progress":
                    break
                if report["payload"]["requestID"] != request["payload"]["requestID"]:
                    raise Broken("reports the progress of another call")
                fraction = report["payload"]["fraction"]
                if not last <= fraction <= 1:
                    raise Broken(f"reports {fraction} after {last}")
                last = fraction

    @rule
    def calls_run_at_the_same_time(self):
        with self.running(), self.running():
            self.expect_service()

    @rule
    def a_cancelled_call_stops(self):
        with self.running() as (request, connection):
            with self.connect() as other:
                other.send(decoder.frame_of(self.cancellation(request)))
            self.expect_stopped(connection)

    @rule
    def a_cancellation_right_after_the_call_stops_it(self):
        request = self.long_request()
        with self.connect() as connection, self.connect() as other:
            connection.send(decoder.frame_of(request))
            # The application may read these two frames in any order.
            other.send(decoder.frame_of(self.cancellation(request)))
            self.expect_stopped(connection)

    @rule
    def a_cancellation_of_an_unknown_call_is_ignored(self):
        with self.connect() as connection:
            connection.send(decoder.frame_of(self.cancellation(self.request(self.quick))))
            connection.socket.shutdown(socket.SHUT_WR)
            if connection.response() is not None:
                raise Broken("answers a cancellation")
        self.expect_service()

    @rule
    def a_cancellation_after_the_answer_is_ignored(self):
        request = self.request(self.quick)
        with self.connect() as connection:
            connection.send(decoder.frame_of(request))
            self.expect_answer(connection, request)
            with self.connect() as other:
                other.send(decoder.frame_of(self.cancellation(request)))
        time.sleep(REACTION)
        self.expect_service()

    @rule
    def a_caller_that_disconnects_disturbs_no_other(self):
        with self.running() as (_, connection):
            connection.socket.close()
            time.sleep(REACTION)
            self.expect_service()

    def run(self, rules=None, report=print):
        """Checks the given rules or all. Reports one line for each rule, and returns the names of the broken rules."""
        broken = []
        for check in rules or RULES:
            name = check.__name__.replace("_", " ")
            try:
                check(self)
                report(f"kept    {name}")
            except NeedsLongCall:
                report(f"-       {name}: needs a long call")
            except (Broken, OSError) as why:
                broken.append(check.__name__)
                report(f"BROKEN  {name}: the application {why}")
        return broken


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("socket", metavar="SOCKET")
    parser.add_argument("--quick", nargs=2, metavar=("TOOL", "ARGUMENTS"), default=("models_list", "{}"),
                        help="the quick call; models_list if none is named")
    parser.add_argument("--long", nargs=2, metavar=("TOOL", "ARGUMENTS"), help="the long call")
    options = parser.parse_args()
    calls = [call and (call[0], json.loads(call[1])) for call in (options.quick, options.long)]
    return 1 if Check(options.socket, *calls).run() else 0


if __name__ == "__main__":
    sys.exit(main())
