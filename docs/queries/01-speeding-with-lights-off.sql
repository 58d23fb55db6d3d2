-- Which stretches were driven faster than a limit, by GPS, with the emergency lights off?
--
-- Units     miles per hour; seconds by the unit's ticks; times in UTC, of the stretch's begin.
-- Unknown   `lights` is 'unknown' where the recording does not tell whether they were on: before
--           they are told for the first time and behind a gap. Such a stretch accuses nobody.
--           `officer` NULL: not told.
-- Not seen  speed while there is no GPS; speeds of a radar, whose units the recording may not tell;
--           how long a speed was held beyond the last tick in front of a gap.
--
-- needs shared/views.sql
SET VARIABLE speed_limit_mph = coalesce(getvariable('speed_limit_mph'), 75);

WITH fast AS (
  SELECT *, coalesce(lights, 'unknown') AS light
  FROM timeline
  WHERE speed_mph > getvariable('speed_limit_mph')::DOUBLE AND lights IS DISTINCT FROM 'on'
), numbered AS (
  SELECT *, lag(to_tick) OVER (PARTITION BY unit, recording, run, light ORDER BY from_tick)
              IS DISTINCT FROM from_tick AS begins
  FROM fast
), grouped AS (
  SELECT *, count_if(begins) OVER (PARTITION BY unit, recording, run, light
                                   ORDER BY from_tick) AS stretch
  FROM numbered
)
SELECT unit, recording, arg_min(time, from_tick) AS "begin",
       arg_min(time_quality, from_tick) AS time_quality, sum(seconds) AS seconds,
       max(speed_mph) AS top_mph, light AS lights, arg_min(officer, from_tick) AS officer
FROM grouped
GROUP BY unit, recording, run, light, stretch
ORDER BY unit, recording, run, min(from_tick);
