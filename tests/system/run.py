#!/usr/bin/env python3
"""Runs stories side by side: run.py BUILD_DIRECTORY [--sanitized] [--only NAME] FILE...

A file has a list STORIES of coroutine functions; one that has a parameter is given a Session.
"""
import argparse
import asyncio
import functools
import importlib
import inspect
import os
import sys
import time
import traceback

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "../../scripts/lib"))
from lab.processes import Build, run  # noqa: E402

LIMIT = 400  # seconds for a story that got stuck


def name_of(story):
    return story.args[0] if isinstance(story, functools.partial) else story.__name__


async def in_a_session(story):
    from lab.session import Session
    async with Session() as session:
        try:
            await story(session)
            if session.daemon.runs():
                await session.daemon.stop()
        except Exception:
            print(session.report())
            raise
        return " ".join(session.notes)


async def play(story):
    began = time.monotonic()
    try:
        wanted = in_a_session(story) if inspect.signature(story).parameters else story()
        notes = await asyncio.wait_for(wanted, LIMIT)
        print(f"passed {name_of(story)} in {time.monotonic() - began:.1f} s {notes or ''}", flush=True)
        return True
    except Exception:  # whatever went wrong, the others go on
        print(f"FAILED {name_of(story)} after {time.monotonic() - began:.1f} s\n{traceback.format_exc()}", flush=True)
        return False


def stories_of(path):
    sys.path.insert(0, os.path.dirname(os.path.abspath(path)))
    return importlib.import_module(os.path.basename(path)[:-3]).STORIES


async def main(arguments):
    Build.directory = arguments.build
    Build.sanitized = arguments.sanitized
    stories = [story for path in arguments.files for story in stories_of(path)
               if arguments.only in (None, name_of(story))]
    results = await asyncio.gather(*(play(story) for story in stories))
    print(f"{sum(results)} of {len(results)} passed")
    return 0 if results and all(results) else 1


parser = argparse.ArgumentParser()
parser.add_argument("build")
parser.add_argument("files", nargs="+")
parser.add_argument("--sanitized", action="store_true")
parser.add_argument("--only", help="name of one story")
sys.exit(run(main(parser.parse_args())))
