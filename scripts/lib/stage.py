"""A demonstration: its announcements, the lines of its programs, and the list of what was verified."""
import time

from lab.processes import Build, Place, check, run
from lab.programs import AccessPoint, Daemon


class Stage(Place):
    def __init__(self):
        super().__init__()
        self.verified = []
        self.started = time.monotonic()
        self.step_name = "start"

    def step(self, text):
        self.step_name = text
        print(f"\n[{time.monotonic() - self.started:5.1f} s] {text}", flush=True)

    def verify(self, text, holds=True):
        check(holds, "not so:", text)
        self.verified.append(text)
        print(f"    verified: {text}", flush=True)

    def shown(self, name, limit):
        """Prints lines of a program, cut short."""
        def show(line):
            text = line if len(line) <= limit else line[:limit] + " ..."
            print(f"    {name}: {text}"[:200], flush=True)
        return show

    async def access_point(self, scenario, limit):
        ap = self.add(AccessPoint(self.directory, self.shown("access point", limit)))
        await ap.begin(scenario)
        return ap

    async def daemon(self, limit, *arguments, **keys):
        daemon = self.add(Daemon(self.directory, self.shown("ravd", limit)))
        await daemon.begin(*arguments, **keys)
        return daemon


async def perform(story, kind):
    async with kind() as stage:
        try:
            await story(stage)
        except (AssertionError, OSError) as reason:
            print(f"\nFAILED in the step \"{stage.step_name}\": {reason}")
            for program in stage.programs:
                for line in program.lines[-5:]:
                    print(f"    last of {program.name}: {line}"[:200])
            return 1
    print(f"\nAll {len(stage.verified)} points hold, in {time.monotonic() - stage.started:.0f} s:")
    for text in stage.verified:
        print(f"  - {text}")
    return 0


def play(build, story, kind=Stage):
    """Runs a story on a stage of that kind. The exit status of the demonstration."""
    Build.directory = build
    return run(perform(story, kind))
