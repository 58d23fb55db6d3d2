-- How much of each unit's time is recorded, and how much of it is lost?
--
-- Units     hours by the unit's ticks; times in UTC.
-- Unknown   `gaps_of_unknown_length`: one side of the gap has no tick, as where a ring has
--           overwritten its beginning. Their hours are in no column.
-- Counts    `covered_h` is from the first to the last tick of each run, less what lies in gaps.
-- Not seen  when a unit was off, or drove without recording: nothing tells of it.
--
-- needs shared/views.sql
WITH covered AS (
  SELECT unit, count(DISTINCT recording) AS recordings, sum(last_tick - first_tick) / 7200.0 AS hours,
         min(earliest) AS earliest, max(latest) AS latest
  FROM runs
  GROUP BY unit
), lost AS (
  SELECT unit, count(*) AS gaps, count_if(reason = 'wrong packet CRC') AS wrong_crc,
         count_if(from_tick IS NULL OR to_tick IS NULL) AS gaps_of_unknown_length,
         coalesce(sum(greatest(to_tick - from_tick, 0)), 0) / 7200.0 AS hours
  FROM gaps
  GROUP BY unit
)
SELECT c.unit, c.recordings, round(c.hours - coalesce(l.hours, 0), 3) AS covered_h,
       round(coalesce(l.hours, 0), 3) AS lost_h, coalesce(l.gaps, 0) AS gaps,
       coalesce(l.wrong_crc, 0) AS wrong_crc,
       coalesce(l.gaps_of_unknown_length, 0) AS gaps_of_unknown_length,
       c.earliest, c.latest
FROM covered c
LEFT JOIN lost l USING (unit)
ORDER BY c.unit;
