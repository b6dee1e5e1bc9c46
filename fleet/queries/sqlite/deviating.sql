-- Drives with a region that is slower by more than a fifth than the median of the same region of their model, of drives
-- of one size, at least four: the slowest region of each.
WITH measured AS (
    SELECT *, row_number() OVER (PARTITION BY model, serial, CASE WHEN serial = '' THEN device END
                                 ORDER BY started DESC) AS rank
    FROM newest WHERE age = 1 AND record IN (SELECT record FROM region)
), rated AS (
    SELECT model, sectors, drive, record, part, first, last, rate
    FROM measured JOIN region USING (record) WHERE measured.rank = 1
), ranked AS (
    SELECT *, row_number() OVER same AS rank, count(*) OVER (PARTITION BY model, sectors, part, first) AS drives
    FROM rated WINDOW same AS (PARTITION BY model, sectors, part, first ORDER BY rate)
), usual AS (
    SELECT model, sectors, part, first, avg(rate) AS usual_rate FROM ranked
    WHERE drives >= 4 AND rank IN ((drives + 1) / 2, (drives + 2) / 2)
    GROUP BY model, sectors, part, first
), share AS (
    SELECT drive, model, record, first, min(last, sectors - 1) AS last, rate, usual_rate, rate / usual_rate AS share,
           row_number() OVER (PARTITION BY model, drive ORDER BY rate / usual_rate) AS rank
    FROM rated JOIN usual USING (model, sectors, part, first)
)
SELECT drive, model, record, first, last, rate, usual_rate, share FROM share
WHERE rank = 1 AND share < 0.8
ORDER BY share, drive;
