-- How many speeds does each unit's radar lock in an hour of recording?
--
-- Units     locks an hour, of the hours that its recordings cover, radar on or not.
-- Unknown   `unsure` are locked speeds in front of which nothing is known (a recording's first
--           reading, or one behind a gap): whether they were locked then or before, nobody knows.
--           They are not counted.
-- Counts    a lock is a locked speed other than the one before, of which 0 is none; what a full
--           state repeats, and a reading in which only the target changes, is none.
-- Not seen  locks within gaps, and a lock of the same speed once more without a release between.
--
-- needs shared/views.sql
WITH readings AS (
  SELECT unit, before, TRY_CAST(value AS INTEGER) AS locked
  FROM held
  WHERE what LIKE 'lock of radar %' AND NOT repeats AND value IS DISTINCT FROM before
), locks AS (
  SELECT unit, count_if(before IS NOT NULL) AS locks, count_if(before IS NULL) AS unsure
  FROM readings
  WHERE locked > 0
  GROUP BY unit
), covered AS (
  SELECT unit, sum(last_tick - first_tick) / 7200.0 AS hours FROM runs GROUP BY unit
), lost AS (
  SELECT unit, sum(greatest(to_tick - from_tick, 0)) / 7200.0 AS hours
  FROM gaps
  GROUP BY unit
)
SELECT c.unit, coalesce(l.locks, 0) AS locks, coalesce(l.unsure, 0) AS unsure,
       round(c.hours - coalesce(g.hours, 0), 3) AS hours,
       round(coalesce(l.locks, 0) / nullif(c.hours - coalesce(g.hours, 0), 0), 2) AS locks_per_hour
FROM covered c
LEFT JOIN locks l USING (unit)
LEFT JOIN lost g USING (unit)
ORDER BY locks_per_hour DESC NULLS LAST, c.unit;
