-- How often and how long did each officer use the siren?
--
-- Units     seconds by the unit's ticks.
-- Unknown   officer NULL: nobody is told at that time (before the first telling, behind a gap). An
--           empty name is one that the unit told: nobody is logged in.
-- Counts    `uses` are the times it went on, for whoever was logged in at that tick; what a full
--           state repeats is no use. Seconds go to whoever was logged in during them, so that a
--           relief in the middle of a use splits its seconds and not the use.
-- Not seen  a siren without an input of the unit; seconds within gaps.
--
-- needs shared/views.sql
WITH sounding AS (
  FROM timeline WHERE siren = 'on'
), switched_on AS (
  SELECT unit, recording, run, from_tick
  FROM held
  WHERE what = 'siren' AND value = 'on' AND NOT repeats AND before IS DISTINCT FROM 'on'
)
SELECT s.officer, s.badge, count(DISTINCT s.unit) AS units, count(w.from_tick) AS uses,
       sum(s.seconds) AS seconds
FROM sounding s
LEFT JOIN switched_on w USING (unit, recording, run, from_tick)
GROUP BY s.officer, s.badge
ORDER BY seconds DESC, s.officer, s.badge;
