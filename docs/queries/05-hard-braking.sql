-- Where did vehicles brake hard?
--
-- Units     miles per hour lost a second, by GPS; times in UTC; degrees, north and east positive.
-- Unknown   latitude, longitude NULL: no position is known in front of it without a gap between,
--           or the last that was told has no coordinates.
--           `age_s` is how old that position was; the vehicle has moved since.
-- Not seen  braking after a speed was held for longer than longest_s: no row tells when within that
--           time it braked, so nothing can be said of how hard. Nor across gaps, and without GPS.
--
-- needs shared/views.sql
SET VARIABLE least_mph_per_s = coalesce(getvariable('least_mph_per_s'), 7);
SET VARIABLE longest_s = coalesce(getvariable('longest_s'), 3);

WITH drops AS (
  SELECT unit, recording, run, from_tick, to_tick AS tick, value::INTEGER AS from_mph,
         next_value::INTEGER AS to_mph, (to_tick - from_tick) / 2.0 AS seconds
  FROM held
  WHERE what = 'gps speed' AND ended = 'change' AND to_tick > from_tick
    AND value IS NOT NULL AND next_value IS NOT NULL
), hard AS (
  SELECT *, round((from_mph - to_mph) / seconds, 1) AS mph_per_s
  FROM drops
  WHERE seconds <= getvariable('longest_s')::DOUBLE
    AND (from_mph - to_mph) / seconds >= getvariable('least_mph_per_s')::DOUBLE
), moments AS (
  SELECT h.*, s.time, s.time_quality
  FROM hard h
  JOIN (SELECT unit, recording, run, from_tick AS tick, max(time) AS time,
               max(time_quality) AS time_quality
        FROM held WHERE what = 'gps speed' GROUP BY ALL) s
    USING (unit, recording, run, tick)
)
SELECT m.unit, m.recording, m.time, m.time_quality, m.from_mph, m.to_mph, m.mph_per_s,
       CASE WHEN m.tick < p.known_before THEN split_part(p.value, ' ', 1)::DECIMAL(10, 7) END
         AS latitude,
       CASE WHEN m.tick < p.known_before THEN split_part(p.value, ' ', 2)::DECIMAL(10, 7) END
         AS longitude,
       CASE WHEN m.tick < p.known_before AND p.value IS NOT NULL
            THEN (m.tick - p.from_tick) / 2.0 END AS age_s
FROM moments m
ASOF LEFT JOIN (FROM held WHERE what = 'position' AND known_before > from_tick) p
  ON p.unit = m.unit AND p.recording = m.recording AND p.run = m.run AND p.from_tick <= m.tick
ORDER BY m.unit, m.recording, m.run, m.tick;
