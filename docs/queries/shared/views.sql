-- What several queries share: what holds from when to when. Run it behind
-- docs/lake/ddl/duckdb.sql, in the same session; tools/lake/query.mjs does. Tables, and not views,
-- so that the lake's files are read once for all of them; run it again when the lake has grown.
--
-- Ticks are half seconds of the unit's own counter. Durations are counted in ticks, never in
-- times, so that a clock that is set makes nothing longer or shorter.
-- Left out everywhere: rows of packets with a wrong CRC, and rows whose tick is not known.

-- A run is a stretch in which ticks only grow; they begin anew in the next.
CREATE OR REPLACE TEMP TABLE runs AS
SELECT unit, recording, coalesce(run, 0) AS run, min(tick) AS first_tick, max(tick) AS last_tick,
       min(time) AS earliest, max(time) AS latest
FROM records
WHERE packet_crc IS NULL AND tick IS NOT NULL
GROUP BY ALL;

-- What was told of a few states, as text. A state is what holds until something else is told.
-- Without GPS nobody knows the speed: it is told to be NULL then.
CREATE OR REPLACE TEMP VIEW told AS
WITH rows_of AS (
  SELECT unit, recording, run, tick, time, time_quality, repeats, packet_crc, cluster, "offset",
         CASE input WHEN 'emergency lights' THEN 'lights' ELSE 'siren' END AS what,
         CASE WHEN "on" THEN 'on' ELSE 'off' END AS value
  FROM input WHERE input IN ('emergency lights', 'siren')
  UNION ALL
  SELECT unit, recording, run, tick, time, time_quality, repeats, packet_crc, cluster, "offset",
         'officer', text
  FROM officer
  UNION ALL
  SELECT unit, recording, run, tick, time, time_quality, repeats, packet_crc, cluster, "offset",
         'badge', text
  FROM badge
  UNION ALL
  SELECT unit, recording, run, tick, time, time_quality, repeats, packet_crc, cluster, "offset",
         'gps speed', speed::VARCHAR
  FROM speed WHERE device = 1
  UNION ALL
  SELECT unit, recording, run, tick, time, time_quality, repeats, packet_crc, cluster, "offset",
         'gps speed', NULL
  FROM gps_state WHERE NOT available
  UNION ALL
  SELECT unit, recording, run, tick, time, time_quality, repeats, packet_crc, cluster, "offset",
         'position', latitude::VARCHAR || ' ' || longitude::VARCHAR
  FROM position WHERE position IS NULL
  UNION ALL
  SELECT unit, recording, run, tick, time, time_quality, repeats, packet_crc, cluster, "offset",
         'lock of radar ' || radar, coalesce(lock_status, lock::VARCHAR)
  FROM radar WHERE lock IS NOT NULL OR lock_status IS NOT NULL
)
SELECT * REPLACE (coalesce(run, 0) AS run)
FROM rows_of
WHERE packet_crc IS NULL AND tick IS NOT NULL;

-- From when to when each of them holds: `value` from from_tick until to_tick, which is the tick of
-- the next telling ('change'), the last tick in front of a gap ('gap') or the run's last ('end').
-- Nothing is carried over a gap or into another run; gaps do not tell their run, so they
-- end what holds in any. At a tick T it holds if from_tick <= T < known_before.
-- `before` is what held up to from_tick, if that is known.
CREATE OR REPLACE TEMP TABLE held AS
WITH in_order AS (
  SELECT *, lead(tick) OVER following AS next_tick, lead(value) OVER following AS next_value,
         lag(value) OVER following AS last_value, lag(tick) OVER following AS last_tick_told
  FROM told
  WINDOW following AS (PARTITION BY unit, recording, run, what ORDER BY tick, cluster, "offset")
), bounded AS (
  SELECT o.*, r.last_tick, g.from_tick AS gap_from, g.to_tick AS gap_to
  FROM in_order o
  JOIN runs r ON r.unit = o.unit AND r.recording = o.recording AND r.run = o.run
  ASOF LEFT JOIN (FROM gaps WHERE from_tick IS NOT NULL) g
    ON g.unit = o.unit AND g.recording = o.recording AND g.from_tick >= o.tick
), ended AS (
  SELECT *, CASE WHEN next_tick <= coalesce(gap_from, next_tick) THEN 'change'
                 WHEN gap_from IS NOT NULL AND gap_from <= last_tick THEN 'gap'
                 ELSE 'end' END AS ended
  FROM bounded
)
SELECT unit, recording, run, what, value, tick AS from_tick, time, time_quality, repeats, ended,
       CASE ended WHEN 'change' THEN next_tick WHEN 'gap' THEN gap_from ELSE last_tick END
         AS to_tick,
       CASE ended WHEN 'change' THEN next_tick
                  WHEN 'gap' THEN CASE WHEN gap_to <= gap_from THEN gap_from ELSE gap_from + 1 END
                  ELSE last_tick + 1 END AS known_before,
       CASE ended WHEN 'change' THEN next_value END AS next_value,
       CASE WHEN lag(ended) OVER (PARTITION BY unit, recording, run, what
                                  ORDER BY tick, cluster, "offset") = 'change'
            THEN last_value END AS before
FROM ended;

-- A unit's day in pieces, in each of which nothing changes; NULL: not known in that piece.
CREATE OR REPLACE TEMP TABLE timeline AS
WITH cuts AS (
  SELECT unit, recording, run, tick, max(time) AS time, max(time_quality) AS time_quality
  FROM (SELECT unit, recording, run, from_tick AS tick, time, time_quality
        FROM held WHERE what IN ('lights', 'siren', 'officer', 'badge', 'gps speed')
        UNION ALL
        SELECT unit, recording, run, to_tick, NULL, NULL
        FROM held WHERE what IN ('lights', 'siren', 'officer', 'badge', 'gps speed'))
  GROUP BY ALL
), pieces AS (
  SELECT unit, recording, run, tick AS from_tick, time, time_quality,
         lead(tick) OVER (PARTITION BY unit, recording, run ORDER BY tick) AS to_tick
  FROM cuts
), lasting AS (
  FROM held WHERE to_tick > from_tick
)
SELECT p.unit, p.recording, p.run, p.from_tick, p.to_tick, p.time, p.time_quality,
       (p.to_tick - p.from_tick) / 2.0 AS seconds,
       CASE WHEN p.from_tick < s.to_tick THEN s.value::INTEGER END AS speed_mph,
       CASE WHEN p.from_tick < l.to_tick THEN l.value END AS lights,
       CASE WHEN p.from_tick < i.to_tick THEN i.value END AS siren,
       CASE WHEN p.from_tick < o.to_tick THEN o.value END AS officer,
       CASE WHEN p.from_tick < b.to_tick THEN b.value END AS badge
FROM pieces p
ASOF LEFT JOIN (FROM lasting WHERE what = 'gps speed') s
  ON s.unit = p.unit AND s.recording = p.recording AND s.run = p.run AND s.from_tick <= p.from_tick
ASOF LEFT JOIN (FROM lasting WHERE what = 'lights') l
  ON l.unit = p.unit AND l.recording = p.recording AND l.run = p.run AND l.from_tick <= p.from_tick
ASOF LEFT JOIN (FROM lasting WHERE what = 'siren') i
  ON i.unit = p.unit AND i.recording = p.recording AND i.run = p.run AND i.from_tick <= p.from_tick
ASOF LEFT JOIN (FROM lasting WHERE what = 'officer') o
  ON o.unit = p.unit AND o.recording = p.recording AND o.run = p.run AND o.from_tick <= p.from_tick
ASOF LEFT JOIN (FROM lasting WHERE what = 'badge') b
  ON b.unit = p.unit AND b.recording = p.recording AND b.run = p.run AND b.from_tick <= p.from_tick
WHERE p.to_tick IS NOT NULL;
