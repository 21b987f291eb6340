"""Prints statements for PostgreSQL: a table of FOLDER/records with an index of trigrams for each field, and the queries.

usage: trigrams.py FOLDER

Records with a similar value in any field count, the sum of similarities decides. No further query is asked after a
minute.
"""
import pathlib
import sys

BEST = 10
SECONDS = 60

SETUP = """\
create extension pg_trgm;
create table p (id serial, {columns});
create table q (n serial, record int, {columns}, time float, found int);
create table built as select clock_timestamp() as start, clock_timestamp() as done;
\\copy p ({fields}) from '{folder}/records' with (format text)
\\copy q (record, {fields}) from '{folder}/queries' with (format text)
"""
ASK = """\
vacuum analyze p;
update built set done = clock_timestamp();
do $$
declare asked record; start timestamptz; began timestamptz := clock_timestamp(); best int[];
begin
  for asked in select * from q order by n loop
    exit when clock_timestamp() > began + interval '{seconds} seconds';
    start := clock_timestamp();
    best := array(select id from p where {conditions} order by {similarity} desc, id limit {best});
    update q set time = 1e6 * extract(epoch from clock_timestamp() - start),
                 found = (asked.record = any(best))::int where n = asked.n;
  end loop;
end $$;
select 'median ' || percentile_disc(0.5) within group (order by time) || ' us, 99 % '
  || percentile_disc(0.99) within group (order by time) || ' us, memory ' || pg_total_relation_size('p') / 1e6
  || ' MB, found ' || sum(found) || ' of ' || count(time)
  || ', built in ' || (select extract(epoch from done - start) from built) || ' s' from q where time is not null;
"""


def main():
    folder = pathlib.Path(sys.argv[1]).resolve()
    with open(folder / "records", encoding="utf-8") as records:
        fields = [f"f{i}" for i in range(len(records.readline().split("\t")))]
    print(SETUP.format(folder=folder, columns=", ".join(f"{field} text" for field in fields), fields=", ".join(fields)))
    for field in fields:
        print(f"create index on p using gin ({field} gin_trgm_ops);")
    print(ASK.format(seconds=SECONDS, best=BEST,
                     conditions=" or ".join(f"p.{field} % asked.{field}" for field in fields),
                     similarity=" + ".join(f"similarity(p.{field}, asked.{field})" for field in fields)))


main()
