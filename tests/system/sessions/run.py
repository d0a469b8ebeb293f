#!/usr/bin/env python3
"""Runs sessions side by side: run.py BUILD_DIRECTORY [--sanitized] TOPIC... [--only NAME]

Each topic is a module with a list SESSIONS of coroutines that take a Session.
"""
import argparse
import asyncio
import importlib
import sys
import time
import traceback

import programs
from session import Session

LIMIT = 150  # seconds for a session that got stuck


async def play(story):
    session = Session(story.__name__)
    began = time.monotonic()
    try:
        await asyncio.wait_for(story(session), LIMIT)
        if session.daemon.runs():
            await session.daemon.stop(limit=3)
        print(f"passed {session.name} in {time.monotonic() - began:.1f} s {', '.join(session.notes)}", flush=True)
        return True
    except Exception:  # whatever went wrong, the others go on
        print(f"FAILED {session.name} after {time.monotonic() - began:.1f} s\n{session.report()}\n"
              f"{traceback.format_exc()}", flush=True)
        return False
    finally:
        await session.end()


async def main(arguments):
    programs.BUILD = arguments.build
    programs.SANITIZED = arguments.sanitized
    stories = [story for topic in arguments.topics for story in importlib.import_module(topic).SESSIONS
               if arguments.only in (None, story.__name__)]
    results = await asyncio.gather(*(play(story) for story in stories))
    print(f"{sum(results)} of {len(results)} sessions passed")
    return 0 if results and all(results) else 1


parser = argparse.ArgumentParser()
parser.add_argument("build")
parser.add_argument("topics", nargs="+")
parser.add_argument("--sanitized", action="store_true", help="memory is not measured, ends may take longer")
parser.add_argument("--only", help="name of one session")
sys.exit(asyncio.run(main(parser.parse_args())))
