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
), still_bad AS (
    SELECT pair.now, CAST(sum(least(a.last, b.last) - greatest(a.first, b.first) + 1) AS BIGINT) AS sectors
    FROM pair JOIN bad AS a ON a.record = pair.now
              JOIN bad AS b ON b.record = pair.before AND a.first <= b.last AND b.first <= a.last
    GROUP BY pair.now
), slower AS (
    SELECT pair.now, count(*) AS regions
    FROM pair JOIN region AS a ON a.record = pair.now
              JOIN region AS b ON b.record = pair.before AND a.part = b.part AND a.first = b.first
    WHERE a.rate < 0.8 * b.rate GROUP BY pair.now
)
SELECT drive, test, before, pair.now, bad_sectors - coalesce(still_bad.sectors, 0) AS new_bad_sectors,
       coalesce(slower.regions, 0) AS slower_regions
FROM pair LEFT JOIN still_bad USING (now) LEFT JOIN slower USING (now)
WHERE bad_sectors > coalesce(still_bad.sectors, 0) OR slower.regions > 0
ORDER BY new_bad_sectors DESC, slower_regions DESC, drive, test;
