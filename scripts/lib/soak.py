"""Entry of scripts/soak."""
import argparse
import asyncio
import os
import sys
import time
import traceback

from lab.processes import Build
from soak_mix import ACCIDENTS, DRILLS
from soak_world import World


def decks(world):
    """Everything once in an order of the dice, then again; more drills than accidents would hide nothing."""
    while True:
        accidents = world.dice.sample(ACCIDENTS, len(ACCIDENTS))
        drills = [drill for _ in range((len(ACCIDENTS) - 1) // len(DRILLS) + 1)
                  for drill in world.dice.sample(DRILLS, len(DRILLS))]
        yield from zip(accidents, drills)


async def live(world, end):
    """Accidents, alone or two at once, peace, a drill, peace; until `end`. Whether nothing was wrong."""
    async with world:
        try:
            await world.begin()
            steps = decks(world)
            while time.monotonic() < end:
                accident, drill = next(steps)
                several = [accident] if world.dice.randrange(3) else [accident, world.dice.choice(ACCIDENTS[:5])]
                for step in several:
                    world.done.append(step.__name__)
                    await step(world)
                await world.peace()
                world.done.append(drill.__name__)
                await drill(world)
                await world.peace()
            await world.judge_growth()
            await world.daemon.stop()
            return True
        except Exception:
            print(f"\nFAILED: repeat with --seed {world.seed} --worlds 1. Played: {' '.join(world.done[-8:])}\n"
                  f"{traceback.format_exc()}\n{world.report()}", flush=True)
            return False


async def main(arguments):
    Build.directory = arguments.build
    Build.sanitized = arguments.sanitized
    end = time.monotonic() + arguments.minutes * 60
    worlds = [World(arguments.seed + number, long_lived=number % 2 == 0, patient=arguments.minutes >= 20)
              for number in range(arguments.worlds)]
    print(f"{len(worlds)} worlds for {arguments.minutes} minutes, seed {arguments.seed}", flush=True)
    results = await asyncio.gather(*(live(world, end) for world in worlds))
    counts = {}
    for world in worlds:
        for name in world.done:
            counts[name] = counts.get(name, 0) + 1
        print(f"  world {world.seed}: {len(world.done)} steps, slowest return {world.slowest_return_s:.1f} s, "
              f"kB, descriptors, threads of its daemons: {'; '.join(world.notes[-4:])}")
    print("  " + ", ".join(f"{name} {count}" for name, count in sorted(counts.items())))
    never = [step.__name__ for step in ACCIDENTS + DRILLS if step.__name__ not in counts]
    if never:
        print("  not played:", ", ".join(never))
    print(f"{sum(results)} of {len(results)} worlds held")
    return 0 if all(results) else 1


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("minutes", type=float)
    parser.add_argument("--build", required=True)
    parser.add_argument("--seed", type=int, default=int(time.time()))
    parser.add_argument("--worlds", type=int, default=2 * (os.cpu_count() or 2))
    parser.add_argument("--sanitized", action="store_true")
    sys.exit(asyncio.run(main(parser.parse_args())))
