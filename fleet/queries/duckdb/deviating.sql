-- Drives with a region that is slower by more than a fifth than the median of the same region of their model, of drives
-- of one size, at least four: the slowest region of each.
WITH measured AS (
    SELECT * FROM newest WHERE age = 1 AND record IN (SELECT record FROM region)
    QUALIFY row_number() OVER (PARTITION BY model, serial, CASE WHEN serial = '' THEN device END
                               ORDER BY started DESC) = 1
), rated AS (
    SELECT model, sectors, drive, record, part, first, last, rate FROM measured JOIN region USING (record)
), usual AS (
    SELECT model, sectors, part, first, median(rate) AS usual_rate FROM rated
    GROUP BY model, sectors, part, first HAVING count(*) >= 4
)
SELECT drive, model, record, first, least(last, sectors - 1) AS last, rate, usual_rate, rate / usual_rate AS share
FROM rated JOIN usual USING (model, sectors, part, first)
QUALIFY row_number() OVER (PARTITION BY model, drive ORDER BY rate / usual_rate) = 1 AND share < 0.8
ORDER BY share, drive;
