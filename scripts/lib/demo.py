"""Entry of scripts/demo: demo.py BUILD_DIRECTORY [--wifi6 | --roaming]"""

import sys

import demo_agent
import demo_roaming
import stage


def main():
    build, *flags = sys.argv[1:]
    if "--roaming" in flags:
        return stage.play(build, demo_roaming.story)
    return stage.play(build, lambda the_stage: demo_agent.story(the_stage, wifi6="--wifi6" in flags))


if __name__ == "__main__":
    sys.exit(main())
