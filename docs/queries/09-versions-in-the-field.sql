-- Which versions of what are in the field, and in how many units?
--
-- Unknown   version NULL: units that told none of this component. A unit tells its versions once
--           an hour, so a short recording has none.
-- Counts    each unit by what it told last of a component, over all its recordings.
-- Not seen  units without a recording in the lake; components of which no unit tells.
WITH latest AS (
  SELECT unit, component, arg_max(text, (coalesce(time, TIMESTAMP '0001-01-01'), recording,
                                         coalesce(run, 0), tick, cluster, "offset")) AS version
  FROM version
  WHERE packet_crc IS NULL
  GROUP BY unit, component
), asked AS (
  SELECT u.unit, c.component
  FROM (SELECT DISTINCT unit FROM recordings) u
  CROSS JOIN (SELECT DISTINCT component FROM latest) c
)
SELECT component, l.version, count(*) AS units, string_agg(a.unit, ', ' ORDER BY a.unit) AS which
FROM asked a
LEFT JOIN latest l USING (unit, component)
GROUP BY component, l.version
ORDER BY component, l.version NULLS LAST;
