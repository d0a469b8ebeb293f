"""Entry of scripts/demo: demo.py BUILD_DIRECTORY [--wifi6 | --roaming | --web [--keep]]"""

import sys

import demo_agent
import demo_roaming
import stage


def main():
    build, *flags = sys.argv[1:]
    if "--roaming" in flags:
        return stage.play(build, demo_roaming.story)
    if "--web" in flags:
        import demo_web  # the only one that needs Debian's websockets
        return stage.play(build, lambda house: demo_web.story(house, keep="--keep" in flags), demo_web.House)
    return stage.play(build, lambda the_stage: demo_agent.story(the_stage, wifi6="--wifi6" in flags))


if __name__ == "__main__":
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        sys.exit(0 if "--keep" in sys.argv else 130)  # the end of one that was kept running
