-- How fast drives are read, in MB/s, by model and time under power.
SELECT model, cast(power_on_hours / 10000 AS INTEGER) * 10000 AS hours_from, count(*) AS drives,
       min(read_rate) AS slowest, avg(read_rate) AS mean, max(read_rate) AS fastest
FROM newest
WHERE age = 1 AND read_rate IS NOT NULL AND power_on_hours IS NOT NULL
GROUP BY model, hours_from
ORDER BY model, hours_from;
