"""Checks the companion with wire_check.py, in a temporary home folder: check_companion.py PROGRAM RECORDING"""
import os
import subprocess
import sys
import tempfile
import time
import wave

import wire_check

START = 60.0  # seconds
REPETITIONS = 60
# A program with sanitizers may need many seconds to load its model on a busy machine.
wire_check.TIMEOUT = 60.0


def write_long(recording, path):
    """Repeats the recording until its transcription takes more than ten seconds."""
    with wave.open(recording) as source, wave.open(path, "wb") as target:
        target.setparams(source.getparams())
        frames = source.readframes(source.getnframes())
        for _ in range(REPETITIONS):
            target.writeframes(frames)


def main():
    program, recording = sys.argv[1:]
    with tempfile.TemporaryDirectory() as home:
        long_recording = os.path.join(home, "long.wav")
        write_long(recording, long_recording)
        path = os.path.join(home, "Library/Application Support/com.vostel.vostel/mcp.sock")
        environment = {**os.environ, "HOME": home, "CFFIXED_USER_HOME": home}
        with subprocess.Popen([program], env=environment, stdin=subprocess.DEVNULL) as application:
            try:
                deadline = time.monotonic() + START
                while not os.path.exists(path):
                    if time.monotonic() > deadline or application.poll() is not None:
                        sys.exit("the companion does not listen")
                    time.sleep(0.05)
                long = ("transcribe_file", {"path": long_recording})
                broken = wire_check.Check(path, ("models_list", {}), long).run()
            finally:
                application.terminate()
    return 1 if broken else 0


if __name__ == "__main__":
    sys.exit(main())
