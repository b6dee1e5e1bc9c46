"""Layouts of faults on simulated drives, and what a test must say of each."""

import dataclasses

STATUS = {"PASS": 0, "FAIL": 1, "WARN": 3, "NOMEDIA": 4, "DEVICEBUSY": 5, "CANNOTRUN": 6}
NOT_RESTORED = 9
WRITING_TESTS = ("LinearPatternTest", "CacheTest", "ReadWriteSpeedTest")


def sectors_of(text):
    """The sectors of a list such as "3+10-19"; a range includes both ends."""
    found = set()
    for part in text.split("+") if text not in ("", "rest") else []:
        first, _, last = part.partition("-")
        found.update(range(int(first), int(last or first) + 1))
    return found


def listed(sectors):
    return "+".join(map(str, sectors))


@dataclasses.dataclass(frozen=True)
class Layout:
    name: str
    drive: str
    sectors: int
    test: str = "LinearReadTest"
    parameters: tuple = ()
    options: tuple = ()
    verdict: str = "PASS"
    unrestored: bool = False  # the exit status tells that data was lost
    bad: dict = dataclasses.field(default_factory=dict)  # fault -> list of sectors
    area: str = "all"  # list of the sectors that the test is asked for
    skipped: str = ""  # list; "rest": what the drive was not there for, wherever that began
    positions: tuple = ()  # of a seek test: how many in all, that failed, and that were left out

    @property
    def status(self):
        return NOT_RESTORED if self.unrestored else STATUS[self.verdict]

    @property
    def ends_anywhere(self):
        return self.skipped == "rest"

    def bad_sectors(self):
        """As pairs of sector and fault."""
        return {(sector, fault) for fault, text in self.bad.items() for sector in sectors_of(text)}

    def good_sectors(self):
        area = set(range(self.sectors)) if self.area == "all" else sectors_of(self.area)
        return area - sectors_of(self.skipped) - {sector for sector, _ in self.bad_sectors()}

    def coverage(self):
        if self.positions:
            unit, (requested, failed, skipped) = "positions", self.positions
        else:
            unit, failed, skipped = "sectors", len({sector for sector, _ in self.bad_sectors()}), len(sectors_of(self.skipped))
            requested = len(self.good_sectors()) + failed + skipped
        return {"unit": unit, "requested": requested, "tested": requested - failed - skipped, "failed": failed,
                "skipped": skipped}


def reached_by(method):
    return "--property", "__libDriveTest_AccessOrder=DriveTestSearchOrder:%d" % method


def disk(name, faults="", sectors=100000, kind="disk", **expected):
    keys = "".join("," + key for key in ("sectors=%d" % sectors, faults) if key)
    return Layout(name, "sim:%s%s" % (kind, keys), sectors, **expected)


def failing(name, faults, unreadable, sectors=100000, **expected):
    return disk(name, faults, sectors, **{"verdict": "FAIL", "bad": {"unreadable": unreadable}, **expected})


def pattern(name, faults="", sectors=10000, **expected):
    """One pattern is enough to see a fault; a chunk has 128 sectors."""
    parameters = ("NumberOfPatterns=1", *expected.pop("parameters", ()))
    return disk(name, faults, sectors, **{"test": "LinearPatternTest", "parameters": parameters, **expected})


def cache(name, faults="", **expected):
    """The last 32768 sectors in chunks of 256, of which the first 256 bytes are compared."""
    return disk(name, faults, 40000, **{"test": "CacheTest", "area": "7232-39999", **expected})


SCATTERED = listed(range(17, 99518, 499))
EVERY_SECOND = listed(range(0, 2000, 2))
NO_COPY, SINGLE, WHOLE = "PreserveData=false", "XferSizeHinting=false", "IsolateFailedLBA=false"
AFTER_5TH = "640-99999"  # of the chunks of a drive that fails at the sixth

READING = [
    disk("nothing bad"),
    failing("the first sector", "bad=0", "0"),
    failing("the last sector", "bad=99999", "99999"),
    failing("in the partial last chunk", "bad=99980", "99980"),
    failing("two in one chunk", "bad=130+200", "130+200"),
    failing("a whole chunk", "bad=256-383", "256-383"),
    failing("across the border of chunks", "bad=380-390", "380-390"),
    failing("2000 in a row", "bad=1000-2999", "1000-2999"),
    failing("200 scattered ones", "bad=" + SCATTERED, SCATTERED),
    failing("every second sector", "bad=" + EVERY_SECOND, EVERY_SECOND, sectors=2000),
    disk("beyond the end of the range", "bad=60000", parameters=("EndRange=50000",), area="0-49999"),
    failing("on both borders of the range", "bad=9999-10000+19999-20000", "10000+19999",
            parameters=("StartRange=10000", "EndRange=20000"), area="10000-19999"),
    disk("in places that a sample leaves out", "bad=" + listed(range(1, 1000, 2)), 1000,
         parameters=("SectorPercentToTest=50", SINGLE), area=listed(range(0, 1000, 2))),
    failing("in and beside the chunks of a sample", "bad=49+50+900+999", "49+900", sectors=1000,
            parameters=("SectorPercentToTest=50",), area="+".join("%d-%d" % (n, n + 49) for n in range(0, 1000, 100))),
    disk("gone when tried singly", "transient=700:1", verdict="WARN"),
    failing("fails more often than is retried", "transient=700:9", "700"),
    failing("a passing error and a bad one in a chunk", "transient=650:1,bad=700", "700"),
    disk("corrected by the drive", "recovered=700-703", kind="scsi", options=reached_by(2), verdict="WARN"),
    failing("the whole transfer without isolation", "bad=130", "128-255", parameters=(WHOLE,)),
    failing("three errors are enough", "bad=100-119", "100-102", parameters=("MaxErrors=3",), skipped="103-99999"),
    failing("a drive of 10 sectors", "bad=3+9", "3+9", sectors=10),
    disk("a drive of 1 sector", sectors=1),
    failing("its only sector", "bad=0", "0", sectors=1),
    failing("sectors of 4096 bytes", "sector-size=4096,bad=15-16+9999", "15-16+9999", sectors=10000),
    failing("a SCSI drive", "bad=7+5000-5002", "7+5000-5002", kind="scsi", options=reached_by(2)),
    failing("an ATA drive", "bad=7+5000-5002", "7+5000-5002", kind="ata", options=reached_by(1)),
    failing("an NVMe drive", "bad=7+5000-5002", "7+5000-5002", kind="nvme", options=reached_by(8)),
    failing("a floppy disk", "bad=35-36", "35-36", kind="floppy", sectors=2880),
    failing("at the end of 2^40 sectors", "bad=1099511627000", "1099511627000", sectors=1 << 40,
            parameters=("StartRange=1099511626776", "EndRange=1099511627776"), area="1099511626776-1099511627775"),
    disk("slow sectors", "slow=1000-1100:2000"),
    disk("slow sectors where that counts", "slow=1000-1100:2000", options=("--slow-ms", "1000"), verdict="WARN"),
    disk("write-protected", "wp"),
]

VANISHING = [
    disk("gone at the 6th command", "gone-at=6", verdict="CANNOTRUN", skipped=AFTER_5TH),
    disk("gone at the first command", "gone-at=1", verdict="CANNOTRUN", skipped="0-99999"),
    failing("a bad one, and the drive gone later", "bad=9,gone-at=140", "9", skipped="1152-99999"),
    disk("gone in the middle of narrowing", "bad=127,gone-at=20", verdict="CANNOTRUN", skipped="18-99999"),
    disk("busy from the start", "busy-at=1", verdict="DEVICEBUSY", skipped="0-99999"),
    disk("busy at the 6th command", "busy-at=6", verdict="DEVICEBUSY", skipped=AFTER_5TH),
    Layout("no medium", "sim:disk,removable,media=none", 0, verdict="NOMEDIA"),
    disk("gone while seeking", "gone-at=51", 1000, test="LinearSeekTest", verdict="CANNOTRUN", skipped="50-999",
         positions=(1000, 0, 950)),
    pattern("gone before it is read back", "gone-at=6", verdict="CANNOTRUN", parameters=(NO_COPY,), skipped="256-9999"),
]

SEEKING = [
    disk("sought in vain", "bad-seek=10+500-501", 1000, test="LinearSeekTest", verdict="FAIL",
         bad={"unreachable": "10+500-501"}, positions=(1000, 3, 0)),
    disk("sought where it cannot be read", "bad=10", 1000, test="LinearSeekTest", verdict="FAIL",
         bad={"unreachable": "10"}, positions=(1000, 1, 0)),
    disk("sought only between them", "bad-seek=10+501", 1000, test="LinearSeekTest",
         parameters=("SectorPercentToTest=25",), area=listed(range(0, 1000, 4)), positions=(250, 0, 0)),
    disk("read where it seeks", "bad=8+12", 100, test="LinearSeekTest", verdict="FAIL", parameters=("SeekMethod=read",),
         bad={"unreachable": "8+12"}, positions=(100, 2, 0)),
    disk("sought from both ends", "bad-seek=7", 100, test="FunnelSeekTest", verdict="FAIL", bad={"unreachable": "7"},
         positions=(200, 2, 0)),
    disk("sought at random", "bad-seek=7", 100, test="RandomSeekTest", verdict="FAIL",
         parameters=("StartRange=7", "EndRange=8"), area="7", bad={"unreachable": "7"}, positions=(1, 1, 0)),
]

COMPARING = [
    disk("compared, fails in the first pass only", "transient=700:1", test="LinearReadCompareTest", verdict="WARN"),
    failing("compared, one unreadable", "bad=700", "700", test="LinearReadCompareTest"),
    disk("compared, read differently each time", "corrupt=700+703", test="LinearReadCompareTest", verdict="FAIL",
         bad={"wrongData": "700+703"}),
    disk("compared, unreadable and wrong", "corrupt=300,bad=700", test="LinearReadCompareTest", verdict="FAIL",
         bad={"unreadable": "700", "wrongData": "300"}),
]

WRITING = [
    pattern("written, nothing bad"),
    pattern("written without a journal", options=("--no-journal",)),
    pattern("written without a copy", parameters=(NO_COPY,)),
    pattern("written, a passing error", "transient=5000:1", parameters=(NO_COPY,), verdict="WARN"),
    pattern("reads back wrong", "corrupt=5000", verdict="FAIL", bad={"wrongData": "5000"}),
    pattern("cannot be saved", "bad=5000", verdict="FAIL", bad={"unreadable": "5000"}, skipped="4992-4999+5001-5119"),
    pattern("cannot be saved at the end", "bad=9999", verdict="FAIL", bad={"unreadable": "9999"}, skipped="9984-9998"),
    pattern("wrong, and unreadable elsewhere", "corrupt=300,bad=5000", verdict="FAIL",
            bad={"wrongData": "300", "unreadable": "5000"}, skipped="4992-4999+5001-5119"),
    pattern("wrong and unreadable in a chunk", "corrupt=5001,bad=5000", verdict="FAIL", parameters=(NO_COPY,),
            bad={"wrongData": "5001", "unreadable": "5000"}),
    pattern("unwritable but readable", "bad-write=5000", verdict="FAIL", bad={"unwritable": "5000"},
            skipped="5120-9999"),
    pattern("unwritable, no copy", "bad-write=5000+7000-7003", verdict="FAIL", parameters=(NO_COPY,),
            bad={"unwritable": "5000+7000-7003"}),
    pattern("write-protected when written", "wp", verdict="CANNOTRUN", skipped="0-9999"),
    pattern("gone while its data is overwritten", "gone-at=30", verdict="FAIL", unrestored=True, skipped="896-9999"),
    pattern("never filled with the pattern", sectors=100, parameters=("OverridePattern=A5", "VerifyOnly=true"),
            verdict="FAIL", bad={"wrongData": "0-99"}),
    cache("the cache, nothing bad"),
    cache("the cache, a passing error", "transient=20000:1", parameters=(NO_COPY,), verdict="WARN"),
    cache("the cache, a passing error while saving", "transient=20000:1", verdict="FAIL", skipped="19776-20031"),
    cache("the cache, wrong at the start of a chunk", "corrupt=7488+7490", verdict="FAIL",
          bad={"wrongData": "7488+7490"}),
    cache("the cache, unreadable", "bad=7000+7300", verdict="FAIL", bad={"unreadable": "7300"},
          skipped="7232-7299+7301-7487"),
]

SPEED = [
    failing("read for its speed", "bad=5000", "4992-5119", test="ReadSpeedTest"),
    failing("not written after it cannot be read", "bad=5000", "4992-5119", test="ReadWriteSpeedTest"),
    disk("written for its speed", "bad-write=70000", test="ReadWriteSpeedTest", verdict="FAIL",
         bad={"unwritable": "69888-70015"}),
]

SIMULATED = READING + VANISHING + SEEKING + COMPARING + WRITING + SPEED
