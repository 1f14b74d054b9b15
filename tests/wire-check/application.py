"""A small application for the test of wire_check.py. It is correct or has one fault, which breaks one rule."""
import socket
import socketserver
import threading
import time

from wire_check import decoder

FAULTS = {
    "never answers": "a_call_is_answered",
    "expects a frame in one piece": "a_frame_may_come_in_pieces",
    "handles one frame of each read": "two_frames_may_come_together",
    "refuses unknown keys": "unknown_keys_are_ignored",
    "does not mark failures": "an_unknown_tool_is_a_failed_result",
    "accepts every version": "another_version_is_refused",
    "waits for a payload of any length": "a_frame_that_is_too_long_is_refused_by_its_header",
    "ignores a frame that is not a record": "a_frame_that_is_not_a_record_ends_only_its_connection",
    "serves one at a time": "a_peer_that_stops_in_a_frame_delays_no_other",
    "lets progress fall": "progress_names_its_call_and_never_falls",
    "runs one call at a time": "calls_run_at_the_same_time",
    "ignores cancellations": "a_cancelled_call_stops",
    "forgets early cancellations": "a_cancellation_right_after_the_call_stops_it",
    "answers cancellations": "a_cancellation_of_an_unknown_call_is_ignored",
    "ends at a late cancellation": "a_cancellation_after_the_answer_is_ignored",
    "ends when a caller disconnects": "a_caller_that_disconnects_disturbs_no_other",
}
LONG_TOOLS = ("long", "transcribe_file")
LONG = 60.0  # seconds
EARLY = 2.0  # seconds in which a cancellation is forgotten


class Ended(Exception):
    """Is raised to close the connection."""


class Handler(socketserver.BaseRequestHandler):
    def fault(self, name):
        return self.server.fault == name

    def handle(self):
        if self.fault("serves one at a time"):
            with self.server.one_at_a_time:
                return self.serve()
        return self.serve()

    def serve(self):
        received = b""
        try:
            while True:
                data = self.request.recv(65536)
                if not data:
                    return
                received = data if self.fault("expects a frame in one piece") else received + data
                received = self.take(received)
        except (Ended, OSError):
            pass

    def take(self, received):
        frames = decoder.records_of(received, decoder.TO_APPLICATION)
        while True:
            try:
                self.record(next(frames), received)
                if self.fault("handles one frame of each read"):
                    return b""
            except StopIteration as rest:
                return rest.value
            except decoder.VersionMismatch as mismatch:
                if not self.fault("accepts every version"):
                    self.send(mismatch.answer)
                    raise Ended from mismatch
                self.answer({"requestID": mismatch.answer["payload"]["requestID"]})
            except decoder.Refused as reason:
                if str(reason) == "frame-too-large":
                    if self.fault("waits for a payload of any length"):
                        continue_reading(self.request)
                    error = {"kind": "frameTooLarge", "declared": int.from_bytes(received[:4], "big"),
                             "limit": decoder.MAX_FRAME_LENGTH}
                    self.send({"kind": "response", "payload": {"requestID": "", "error": error}})
                elif self.fault("ignores a frame that is not a record"):
                    continue_reading(self.request)
                raise Ended from reason

    def record(self, record, received):
        payload = record["payload"]
        if self.fault("refuses unknown keys") and b"a later version" in received:
            raise Ended
        if record["kind"] == "cancellation":
            return self.cancel(payload["requestID"])
        if self.fault("never answers"):
            continue_reading(self.request)
        if payload["tool"] in LONG_TOOLS:
            return self.work(payload)
        known = payload["tool"] == "quick" or self.fault("does not mark failures")
        self.server.answered.add(payload["requestID"])
        return self.answer(payload, isError=not known)

    def cancel(self, request_id):
        if self.fault("answers cancellations"):
            self.answer({"requestID": request_id})
        if self.fault("ends at a late cancellation") and request_id in self.server.answered:
            self.server.is_over = True
        if not self.fault("ignores cancellations"):
            self.server.cancelled.add(request_id)

    def work(self, payload):
        if self.fault("runs one call at a time"):
            with self.server.one_at_a_time:
                return self.long_call(payload)
        return self.long_call(payload)

    def long_call(self, payload):
        request_id = payload["requestID"]
        if self.fault("forgets early cancellations"):
            time.sleep(EARLY)
            self.server.cancelled.discard(request_id)
        steps = 600
        for step in range(steps):
            if request_id in self.server.cancelled:
                raise Ended
            fraction = (steps - step if self.fault("lets progress fall") else step) / steps
            try:
                self.send({"kind": "progress", "payload": {"requestID": request_id, "fraction": fraction}})
            except OSError:
                self.server.is_over = self.fault("ends when a caller disconnects")
                raise
            time.sleep(LONG / steps)
        self.answer(payload)

    def answer(self, payload, isError=False):
        self.send({"kind": "response", "payload": {
            "requestID": payload["requestID"], "result": {"content": [], "isError": isError}}})
        raise Ended

    def send(self, record):
        self.request.sendall(decoder.frame_of(record))


def continue_reading(connection):
    while connection.recv(65536):
        pass
    raise Ended


class Application(socketserver.ThreadingUnixStreamServer):
    daemon_threads = True
    request_queue_size = socket.SOMAXCONN

    def __init__(self, path, fault=None):
        super().__init__(path, Handler)
        self.fault = fault
        self.one_at_a_time = threading.Lock()
        self.cancelled = set()
        self.answered = set()
        self.is_over = False

    def verify_request(self, _request, _address):
        return not self.is_over
