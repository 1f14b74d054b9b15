"""A second decoder of vostel-mcp's wire protocol. It shares no code with the first one.

It was written only from docs/wire-protocol.md and uses only the standard library. If it disagrees with the C++ library
about a file in tests/golden, then this decoder, the library or the document is wrong.
"""
import json
import math
import struct

PROTOCOL_VERSION = 4
MAX_FRAME_LENGTH = 64 * 1024 * 1024
ABSENT = object()


class Refused(Exception):
    """Is raised for a frame or a line that a peer refuses. The argument is the name of the reason in the document."""


class VersionMismatch(Refused):
    """Is raised for a request of another version. `answer` is the record to send back."""

    def __init__(self, answer):
        super().__init__("version-mismatch")
        self.answer = answer


# JSON, with the restrictions of the document.

def read_json(data):
    """Reads a whole JSON document in UTF-8."""
    def constant(_name):
        raise Refused("not-json")

    def finite(literal):
        value = float(literal)
        if math.isinf(value):
            raise Refused("not-json")
        return value
    try:
        text = data.decode("utf-8")
        if text.startswith("\ufeff"):
            raise Refused("not-json")
        value = json.loads(text, parse_constant=constant, parse_float=finite)
        json.dumps(value, ensure_ascii=False).encode("utf-8")  # Refuses half of a surrogate pair.
        return value
    except (ValueError, RecursionError) as error:
        raise Refused("not-json") from error


def member(record, key):
    if not isinstance(record, dict):
        raise Refused("wrong-type")
    if key not in record:
        raise Refused("missing-key")
    return record[key]


def string(record, key):
    value = member(record, key)
    if not isinstance(value, str):
        raise Refused("wrong-type")
    return value


def optional_string(record, key):
    if member_or_none(record, key) is None:
        return None
    return string(record, key)


def member_or_none(record, key):
    return record.get(key) if isinstance(record, dict) else None


def is_number(value):
    return isinstance(value, (int, float)) and not isinstance(value, bool)


def integer(record, key):
    value = member(record, key)
    if not is_number(value) or value != int(value) or not -(2**63) <= value < 2**63:
        raise Refused("wrong-type")
    return int(value)


def number(record, key):
    value = member(record, key)
    if not is_number(value):
        raise Refused("wrong-type")
    return value


def present(**members):
    return {key: value for key, value in members.items() if value is not None}


# Records. Each function returns those members of the payload that a reader does not ignore.

def request(payload):
    client = member(payload, "clientInfo")
    return {
        "protocolVersion": integer(payload, "protocolVersion"),
        "clientInfo": present(name=string(client, "name"), version=optional_string(client, "version")),
        "tool": string(payload, "tool"),
        "arguments": member(payload, "arguments"),
        "requestID": string(payload, "requestID"),
    }


def cancellation(payload):
    return {"protocolVersion": integer(payload, "protocolVersion"), "requestID": string(payload, "requestID")}


def progress(payload):
    return present(requestID=string(payload, "requestID"), fraction=number(payload, "fraction"),
                   message=optional_string(payload, "message"))


def response(payload):
    record = {"requestID": string(payload, "requestID")}
    if ("result" in payload) == ("error" in payload):
        raise Refused("not-exactly-one")
    if "result" in payload:
        record["result"] = payload["result"]
    else:
        record["error"] = wire_error(payload["error"])
    return record


def wire_error(error):
    kind = string(error, "kind")
    keys = {"versionMismatch": ("helper", "app"), "frameTooLarge": ("declared", "limit")}
    if kind not in keys:
        raise Refused("unknown-kind")
    return {"kind": kind, **{key: integer(error, key) for key in keys[kind]}}


TO_APPLICATION = {"request": request, "cancellation": cancellation}
FROM_APPLICATION = {"progress": progress, "response": response}


def check_version(document):
    """Checks the version first, because another version may have different requests."""
    payload = member_or_none(document, "payload")
    if member_or_none(document, "kind") != "request" or not isinstance(payload, dict):
        return
    try:
        version = integer(payload, "protocolVersion")
    except Refused:
        return
    if version == PROTOCOL_VERSION:
        return
    request_id = payload.get("requestID")
    error = {"kind": "versionMismatch", "helper": version, "app": PROTOCOL_VERSION}
    answer = {"requestID": request_id if isinstance(request_id, str) else "", "error": error}
    raise VersionMismatch({"kind": "response", "payload": answer})


def record_of(payload, readers):
    document = read_json(payload)
    if readers is TO_APPLICATION:
        check_version(document)
    kind = string(document, "kind")
    if kind not in readers:
        raise Refused("unknown-kind")
    return {"kind": kind, "payload": readers[kind](member(document, "payload"))}


# Frames.

def frame_of(record):
    """The bytes of a record, in the form that vostel-mcp writes."""
    text = json.dumps(record, ensure_ascii=False, sort_keys=True, separators=(",", ":"))
    payload = text.encode("utf-8")
    return struct.pack(">I", len(payload)) + payload


def records_of(stream, readers):
    """Yields the record of each complete frame, and returns the remaining bytes."""
    while len(stream) >= 4:
        (length,) = struct.unpack_from(">I", stream)
        if length > MAX_FRAME_LENGTH:
            raise Refused("frame-too-large")
        if len(stream) < 4 + length:
            break
        yield record_of(stream[4:4 + length], readers)
        stream = stream[4 + length:]
    return stream


# Lines of standard input and output.

def line_kind(line):
    """What a line of JSON-RPC 2.0 is, to the server or to the client."""
    if not line.strip():
        return "empty"
    try:
        message = read_json(line)
    except Refused:
        return "malformed"
    if isinstance(message, list):
        return "batch"
    if not isinstance(message, dict) or message.get("jsonrpc", "2.0") != "2.0":
        return "malformed"
    has_outcome = ("result" in message) != ("error" in message)
    if has_outcome and "method" not in message and "id" in message:
        return "error-without-id" if message["id"] is None else "response"
    if not isinstance(message.get("method"), str):
        return "malformed"
    if "id" not in message:
        return "notification"
    is_id = isinstance(message["id"], (int, str)) and not isinstance(message["id"], bool)
    return "request" if is_id else "malformed"
