-- Drives that got worse: the newest run of a test, which came to its end, against the one before that did. New bad
-- sectors are those that were not bad then; a region is slower that has lost more than a fifth of its rate.
WITH ended AS (
    SELECT *, row_number() OVER (PARTITION BY model, serial, CASE WHEN serial = '' THEN device END, test
                                 ORDER BY started DESC) AS rank
    FROM run WHERE result IS NOT NULL
), pair AS (
    SELECT now.drive, now.test, before.record AS before, now.record AS now, now.bad_sectors
    FROM newest AS now JOIN ended AS before
        ON before.model = now.model AND before.serial = now.serial AND before.test = now.test
           AND (now.serial <> '' OR before.device = now.device)
    WHERE now.age = 1 AND now.result IS NOT NULL AND before.rank = 2
), compared AS (
    SELECT drive, test, before, now,
           bad_sectors - coalesce((
               SELECT sum(min(a.last, b.last) - max(a.first, b.first) + 1) FROM bad AS a JOIN bad AS b
               ON a.first <= b.last AND b.first <= a.last
               WHERE a.record = pair.now AND b.record = pair.before), 0) AS new_bad_sectors,
           (SELECT count(*) FROM region AS a JOIN region AS b ON a.part = b.part AND a.first = b.first
            WHERE a.record = pair.now AND b.record = pair.before AND a.rate < 0.8 * b.rate) AS slower_regions
    FROM pair
)
SELECT * FROM compared WHERE new_bad_sectors > 0 OR slower_regions > 0
ORDER BY new_bad_sectors DESC, slower_regions DESC, drive, test;
