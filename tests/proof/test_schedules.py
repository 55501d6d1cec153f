"""The explorer of orders, with copies that are played in Python."""

import unittest
from random import Random
from types import SimpleNamespace

from proof.interleavings import (
    Call, Choice, Deadlock, Diverged, Execution, Explorer, Rules, by_priority, choices_of, text_of)
from proof.program_promises import OBJECTS, UPDATE
from proof.schedules import Case, Findings, Judged
from proof.turns import Dependence, call_of, may_kill
from proof.written_history import DONE, LOGON, Script, second, worker


class Played:
    """A world of copies, each a list of (what it touches, effect(state, copy)). An effect of False blocks."""

    def __init__(self, *copies):
        self.copies = copies

    def start(self):
        self.state, self.at = {"did": []}, dict.fromkeys(range(1, len(self.copies) + 1), 0)
        return {copy: self.next(copy) for copy in self.at}

    def next(self, copy):
        steps = self.copies[copy - 1]
        return Call("do", steps[self.at[copy]][0]) if self.at[copy] < len(steps) else None

    def go(self, copy, count):
        told = []
        while count and self.next(copy):
            thing, effect = self.copies[copy - 1][self.at[copy]]
            if effect(self.state, copy) is False:
                return [*told, Call("blocked", thing)]
            self.state["did"].append(copy)
            self.at[copy] += 1
            count -= 1
            told.append(self.next(copy))
        return told

    def kill(self, copy):
        self.state["did"].append(-copy)


def nothing(_state, _copy):
    return True


def same_thing(one, other):
    return one.function == "kill" or other.function == "kill" or one.thing == other.thing


def explored(world, rules):
    """(explorer, {what the orders came to: their schedules})."""
    seen = {}

    def run(prefix):
        execution = Execution(world).play(prefix)
        seen.setdefault(tuple(world.state["did"]), []).append(execution.text())
        return execution

    explorer = Explorer(rules, run)
    explorer.explore()
    return explorer, seen


class Interleavings(unittest.TestCase):
    def test_two_copies_of_two_steps_have_six_orders(self):
        world = Played([("x", nothing)] * 2, [("x", nothing)] * 2)
        explorer, seen = explored(world, Rules(same_thing, preemptions=3))
        self.assertEqual(len(seen), 6)
        self.assertEqual((explorer.figures.executions, len(explorer.figures.orders)), (6, 6))

    def test_three_copies_of_two_steps_have_ninety_orders(self):
        world = Played(*[[("x", nothing)] * 2] * 3)
        explorer, seen = explored(world, Rules(same_thing, preemptions=5))
        self.assertEqual((len(seen), len(explorer.figures.orders)), (90, 90))

    def test_preemptions_are_bounded(self):
        world = Played([("x", nothing)] * 2, [("x", nothing)] * 2)
        self.assertEqual([len(explored(world, Rules(same_thing, preemptions=bound))[1])
                          for bound in (0, 1, 2)], [2, 4, 6])

    def test_steps_that_do_not_touch_have_one_order(self):
        world = Played([("x", nothing)] * 2, [("y", nothing)] * 2)
        explorer, _ = explored(world, Rules(same_thing, preemptions=3))
        self.assertEqual(explorer.figures.executions, 1)

    def test_only_the_order_of_steps_that_touch_counts(self):
        # The middle ones alone meet: each may be the first.
        world = Played([("a", nothing), ("x", nothing), ("b", nothing)],
                       [("c", nothing), ("x", nothing), ("d", nothing)])
        explorer, _ = explored(world, Rules(same_thing, preemptions=4))
        figures = explorer.figures
        self.assertEqual((len(figures.orders), figures.executions - figures.redundant), (2, 2))
        self.assertEqual(figures.executions, 4)     # of 20

    def test_what_the_reduction_leaves_out_is_no_order(self):
        """Random copies, with and without a kill: as many orders as without any reduction."""
        random = Random(1)
        for _ in range(40):
            copies = [[(random.choice("xyz"), nothing) for _ in range(random.randint(1, 3))]
                      for _ in range(random.randint(2, 3))]
            for bound, kills in ((0, 0), (1, 0), (2, 0), (3, 0), (0, 1), (1, 1), (2, 1)):
                rules = Rules(same_thing, preemptions=bound, kills=kills)
                explorer, seen = explored(Played(*copies), rules)
                self.assertEqual(orders(seen, copies), orders(all_did(copies, bound, kills), copies),
                                 (copies, bound, kills))
                self.assertLessEqual(len(explorer.figures.orders), explorer.figures.executions)

    def test_copies_that_do_the_same_begin_in_one_order(self):
        world = Played([("x", nothing)] * 2, [("x", nothing)] * 2)
        _, seen = explored(world, Rules(same_thing, preemptions=3, equal=(1, 2)))
        self.assertEqual(len(seen), 3)

    def test_a_copy_that_is_blocked_goes_on_when_it_can(self):
        def lock(state, copy):
            return state.setdefault("owner", copy) == copy

        def unlock(state, _copy):
            del state["owner"]

        section = [("m", lock), ("x", nothing), ("m", unlock)]
        _, seen = explored(Played(section, section), Rules(same_thing, preemptions=3))
        self.assertEqual(set(seen), {(1, 1, 1, 2, 2, 2), (2, 2, 2, 1, 1, 1)})

    def test_a_deadlock_is_told(self):
        world = Played([("m", lambda state, copy: False)])
        with self.assertRaises(Deadlock):
            Execution(world).play([])

    def test_a_call_that_is_seen_late_is_not_forgotten(self):
        """The second copy touches y only while the first has not come to x."""
        class Seen(Played):
            def next(self, copy):
                call = super().next(copy)
                late = copy == 2 and self.at[1] == 3
                return Call("do", "z") if late and call and call.thing == "y" else call

        world = Seen([("a", nothing), ("y", nothing), ("x", nothing)],
                     [("a", nothing), ("x", nothing), ("y", nothing)])
        _, seen = explored(world, Rules(same_thing, preemptions=1))
        self.assertIn((1, 2, 2, 2, 1, 1), seen)

    def test_copies_that_do_not_repeat_themselves_are_told(self):
        times = []

        def other_each_time(state, copy):
            times.append(copy)

        world = Played([("x", other_each_time)] * 2, [("x", nothing)] * 2)
        world.next = lambda copy: Call("do", f"x{len(times)}") if world.at[copy] < 2 else None
        with self.assertRaises(Diverged):
            explored(world, Rules(lambda one, other: True, preemptions=1))

    def test_every_kill_is_tried(self):
        world = Played([("x", nothing)] * 2, [("y", nothing)])
        _, seen = explored(world, Rules(same_thing, preemptions=0, kills=1))
        self.assertEqual({did for did in seen if -1 in did or -2 in did},
                         {(-1, 2), (1, -1, 2), (1, 1, -2), (-2, 1, 1), (2, -1), (2, 1, -1)})


def all_did(copies, bound, kills):
    """Every order that costs no more than so many preemptions and kills."""
    found = set()

    def extend(did, living, cost, left):
        if cost > bound:
            return
        if not living:
            found.add(did)
        for copy, steps in living.items():
            taken = bool(did) and abs(did[-1]) != copy and abs(did[-1]) in living
            others = {other: of_other for other, of_other in living.items() if other != copy}
            extend(did + (copy,), others | ({copy: steps - 1} if steps > 1 else {}), cost + taken, left)
            if left:
                extend(did + (-copy,), others, cost + taken, left - 1)

    extend((), {copy: len(steps) for copy, steps in enumerate(copies, 1)}, 0, kills)
    return found


def orders(did, copies):
    """Which step came before which that it touches, for each of the orders; a kill touches all."""
    def pairs(order):
        at, steps = [0] * len(copies), []
        for copy in order:
            step = at[abs(copy) - 1]
            steps.append((copy, step, copies[copy - 1][step][0] if copy > 0 else None))
            at[abs(copy) - 1] += 1
        return frozenset((one[:2], other[:2]) for place, one in enumerate(steps)
                         for other in steps[place + 1:] if abs(one[0]) != abs(other[0])
                         and (one[2] == other[2] or None in (one[2], other[2])))

    return {pairs(order) for order in did}


def take(state, copy):
    if state.get("owner", copy) == copy:
        state["owner"] = copy


def look(state, copy):
    """The working copy's last look."""
    state["posted"] = False


def post(state, copy):
    state["posted"] = True


def leave(state, copy):
    state["lost"] = state.get("posted", False)


class Lost(unittest.TestCase):
    """A working copy that looks for a request and leaves, and one that posts a request."""

    def world(self):
        return Played([("event", look), ("event", leave)], [("a", nothing), ("event", post)])

    def found(self, execution, lost):
        if execution.world.state.get("lost"):
            lost.append(execution.text())
        return execution

    def test_a_planted_loss_is_found_and_replays(self):
        world, lost = self.world(), []
        Explorer(Rules(same_thing, preemptions=2),
                 lambda prefix: self.found(Execution(world).play(prefix), lost)).explore()
        self.assertEqual(lost, ["1*1 2*1", "2*1 1*1 2*1"])      # They differ in a step that nobody sees.
        for text in lost:
            did = [Execution(world).play(choices_of(text)).world.state["did"] for _ in range(2)]
            self.assertTrue(world.state["lost"])
            self.assertEqual(did[0], did[1])

    def test_no_preemption_loses_nothing(self):
        world, lost = self.world(), []
        Explorer(Rules(same_thing, preemptions=0),
                 lambda prefix: self.found(Execution(world).play(prefix), lost)).explore()
        self.assertEqual(lost, [])

    def test_random_priorities_find_it(self):
        world, lost = self.world(), []
        random = Random(1)
        for _ in range(50):
            self.found(Execution(world).play([], by_priority(random, (1, 2), 4, 1)), lost)
        self.assertGreater(len(lost), 3)
        self.assertLess(len(lost), 47)


class Calls(unittest.TestCase):
    """Which of the program's calls meet."""
    request, instance = Call("post", "refresh request"), Call("try", "refresh instance")
    line = Call("open", "log")

    def test_the_lab_tells_a_call_with_what_it_touches(self):
        objects = {what: name for name, what in OBJECTS.items()}
        self.assertEqual([call_of(line) for line in (
            "SetEvent event Global\\" + objects["refresh request"],
            "WaitForSingleObject mutex Global\\c:/programdata/palvo",
            r"CreateFileW file C:\ProgramData\Palvo\PalvoPrinterConfiguration.log",
            r"CreateFileW file C:\ProgramData\Palvo", "RegQueryValueExW value LastEvtRecordProcessed",
            "EvtQuery channel", "blocked mutex Global\\" + objects["scan check"])], [
                self.request, Call("try", "log mutex"), self.line, Call("open"), Call("read", "position"),
                Call("scan", "channel"), Call("blocked", "scan check")])

    def test_calls_meet_at_one_object(self):
        dependent = Dependence(log=False)
        self.assertTrue(dependent(self.request, Call("try", "refresh request")))
        self.assertFalse(dependent(self.request, self.instance))
        self.assertTrue(dependent(Call("read", "position"), Call("store", "position")))
        self.assertFalse(dependent(Call("read", "position"), Call("read", "position")))
        self.assertFalse(dependent(Call("start", "program"), Call("start", "program")))

    def test_an_end_meets_what_the_copy_had_opened(self):
        dependent, end = Dependence(log=False), Call("end", "refresh instance, refresh request")
        self.assertTrue(dependent(end, self.request))
        self.assertFalse(dependent(end, Call("post", "normal request")))
        self.assertFalse(dependent(Call("end"), end))
        self.assertTrue(dependent(Call("kill"), end))

    def test_lines_of_the_log_meet_where_it_is_deleted(self):
        self.assertFalse(Dependence(log=False)(self.line, self.line))
        self.assertTrue(Dependence(log=True)(self.line, Call("delete", "log")))

    def test_a_copy_is_killed_before_what_it_leaves(self):
        for call in (self.request, self.line, Call("start", "program"), Call("end"),
                     Call("end", "scan check")):
            self.assertTrue(may_kill(call), call)
        for call in (Call("open"), Call("close", "log"), Call("try", "log mutex"), Call("sleep")):
            self.assertFalse(may_kill(call), call)


class Told(unittest.TestCase):
    """What the proof tells of an order."""

    def judged(self):
        """Copy 2 asks for everything after copy 1's last look."""
        script = Script()
        first = worker(script)
        first.special_pass()
        first.poll(False, False)
        other = second(script, arguments=LOGON)
        other.ask("changed instance", 258)
        first.on("ReleaseMutex", "changed instance", 1)
        other.redundant()
        first.line(UPDATE)
        first.leave()
        first.line(*DONE)
        first.end(0)
        execution = Execution(Played([("x", nothing)] * 3, [("x", nothing)])).play(choices_of("1*2 2*1"))
        return Judged("special special", execution.text(), execution, script.history)

    def test_a_window_lies_between_two_steps(self):
        self.assertEqual(list(self.judged().windows()), [
            ("posted after the working copy's last look, and no copy held the request", "special / special",
             "after 'try special request', before 'release changed instance'")])

    def test_an_outcome_is_what_each_copy_came_to_and_what_is_allowed(self):
        self.assertEqual(self.judged().outcome(), (
            ((0, False, ("special",)), (1, True, ())),
            (("posted after the working copy's last look, and no copy held the request", 1),)))

    def test_the_shortest_schedule_is_told(self):
        judged, longer, findings = self.judged(), self.judged(), Findings(SimpleNamespace(runs=0))
        longer.size, longer.text = (2, 3, 4), "longer"
        self.assertEqual(judged.text, "special special: 1*2 2*1")
        for one in (longer, judged, longer):
            findings.take(Case("special special", 1), one)
        (shortest, places), = findings.windows.values()
        self.assertEqual((shortest[1], sum(places.values())), ("special special: 1*2 2*1", 3))
        self.assertEqual(len(findings.outcomes), 1)

    def test_a_case_is_named_by_its_text(self):
        for text in ("refresh refresh, 2 preemptions", "normal normal, 0 preemptions, a kill",
                     "special special special, 4 changes at random"):
            self.assertEqual(str(Case.of(text)), text)


class Text(unittest.TestCase):
    def test_a_schedule_is_a_short_text(self):
        choices = [Choice(1)] * 14 + [Choice(2)] * 2 + [Choice(1, True)]
        self.assertEqual(text_of(choices), "1*14 2*2 1!")
        self.assertEqual(choices_of("1*14 2*2 1!"), choices)
        self.assertEqual(text_of([]), "")

    def test_other_texts_are_refused(self):
        for text in ("1", "x*2", "1*", "!1"):
            with self.assertRaises(ValueError):
                choices_of(text)


if __name__ == "__main__":
    unittest.main()
