-- Bad sectors by model and firmware. Each drive counts with the most that the newest run of one of its tests found.
SELECT model, firmware, count(*) AS drives, sum(bad_sectors > 0) AS drives_with_bad, sum(bad_sectors) AS bad_sectors
FROM (SELECT model, serial, device, max(firmware) AS firmware, max(bad_sectors) AS bad_sectors
      FROM newest WHERE age = 1 GROUP BY model, serial, CASE WHEN serial = '' THEN device END)
GROUP BY model, firmware
ORDER BY drives_with_bad DESC, bad_sectors DESC, drives DESC, model, firmware;
