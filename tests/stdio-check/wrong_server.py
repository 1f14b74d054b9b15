"""A small server for the test of stdio_check.py. It is correct or has one fault: wrong_server.py [FAULT]"""
import json
import os
import sys
import threading
import time

FAULTS = {
    "omits its name": "initialize_agrees_on_a_revision",
    "agrees to every revision": "an_unknown_revision_is_answered_by_a_known_one",
    "writes every id as a string": "a_response_has_the_id_of_its_request",
    "expects a line in one read": "a_message_may_come_in_pieces",
    "handles one line of each read": "several_messages_may_come_together",
    "keeps the carriage return": "a_line_may_end_in_crlf",
    "ignores long lines": "a_line_of_a_megabyte_is_read",
    "ignores a line that is not JSON": "a_line_that_is_not_json_is_a_parse_error",
    "ends at a line that is not UTF-8": "a_line_that_is_not_utf_8_does_not_end_the_session",
    "ignores unknown methods": "an_unknown_method_is_an_error",
    "does not know ping": "ping_is_answered",
    "answers notifications": "a_notification_is_not_answered",
    "answers cancellations": "a_cancellation_of_an_unknown_call_is_ignored",
    "answers cancelled calls": "a_cancelled_call_is_not_answered",
    "runs after the end of its input": "the_end_of_input_ends_the_process",
    "logs to its output": "several_messages_may_come_together",
}
REVISIONS = ("2025-03-26", "2025-06-18")
fault = sys.argv[1] if len(sys.argv) > 1 else None
cancelled = set()
turn = threading.Lock()


def write(message):
    with turn:
        sys.stdout.buffer.write(json.dumps({"jsonrpc": "2.0", **message}).encode() + b"\n")
        sys.stdout.flush()


def answer(request_id, **outcome):
    write({"id": str(request_id) if fault == "writes every id as a string" else request_id, **outcome})


def error(request_id, code):
    answer(request_id, error={"code": code, "message": "refused"})


def work(request_id, token):
    for step in range(100):
        if request_id in cancelled:
            break
        write({"method": "notifications/progress", "params": {"progressToken": token, "progress": step, "total": 100}})
        time.sleep(0.1)
    if request_id not in cancelled or fault == "answers cancelled calls":
        answer(request_id, result={"content": []})


def handle(line):
    text = line.decode("utf-8", "strict" if fault == "ends at a line that is not UTF-8" else "replace")
    if fault == "keeps the carriage return" and text.endswith("\r"):
        return
    if fault == "logs to its output":
        print("a line of a log", flush=True)
    try:
        message = json.loads(text)
    except ValueError:
        if fault != "ignores a line that is not JSON":
            error(None, -32700)
        return
    method, params = message.get("method"), message.get("params", {})
    if "id" not in message:
        if fault == "answers notifications" or (fault == "answers cancellations" and "requestId" in params):
            error(None, -32600)
        cancelled.add(params.get("requestId"))
        return
    request_id = message["id"]
    if method == "initialize":
        asked = params["protocolVersion"]
        known = asked if asked in REVISIONS or fault == "agrees to every revision" else REVISIONS[-1]
        result = {"protocolVersion": known, "capabilities": {}, "serverInfo": {"name": "wrong", "version": "1"}}
        if fault == "omits its name":
            del result["serverInfo"]
        answer(request_id, result=result)
    elif method == "tools/list":
        answer(request_id, result={"tools": []})
    elif method == "tools/call":
        threading.Thread(target=work, args=(request_id, params["_meta"]["progressToken"]), daemon=True).start()
    elif method == "ping" and fault != "does not know ping":
        answer(request_id, result={})
    elif fault != "ignores unknown methods":
        error(request_id, -32601)


def main():
    rest = b""
    while data := os.read(0, 1 << 22):
        lines = (rest + data).split(b"\n")
        rest = lines.pop()
        if fault == "expects a line in one read" and rest:
            rest = b""
        if fault == "handles one line of each read":
            lines = lines[:1]
        for line in lines:
            if line and (fault != "ignores long lines" or len(line) < 1 << 16):
                handle(line)
    if fault == "runs after the end of its input":
        time.sleep(60)


if __name__ == "__main__":
    main()
