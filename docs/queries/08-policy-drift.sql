-- Which units are set otherwise than most of the fleet?
--
-- Unknown   a unit that does not tell a setting is not compared; `units` says how many do. Where
--           two values are as frequent, none of them is the usual one: no unit drifts.
-- Counts    each unit by what it told last of a setting, over all its recordings.
-- Not seen  settings that a unit has and does not record; numbers above 255, of which the recording
--           holds the low byte.
WITH latest AS (
  SELECT unit, policy, arg_max(value, (coalesce(time, TIMESTAMP '0001-01-01'), recording,
                                       coalesce(run, 0), tick, cluster, "offset")) AS value
  FROM policy
  WHERE packet_crc IS NULL
  GROUP BY unit, policy
), frequent AS (
  SELECT policy, value, count(*) AS units,
         rank() OVER (PARTITION BY policy ORDER BY count(*) DESC) AS place,
         sum(count(*)) OVER (PARTITION BY policy) AS units_in_all
  FROM latest
  GROUP BY policy, value
), usual AS (
  SELECT policy, any_value(value) AS value, any_value(units) AS units_so,
         any_value(units_in_all) AS units
  FROM frequent
  WHERE place = 1
  GROUP BY policy
  HAVING count(*) = 1
)
SELECT l.unit, l.policy, l.value, u.value AS usual, u.units_so AS units_with_usual, u.units
FROM latest l
JOIN usual u USING (policy)
WHERE l.value <> u.value
ORDER BY l.policy, l.unit;
