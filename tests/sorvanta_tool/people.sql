create table people (number integer primary key, name varchar(40), town varchar(40));
insert into people values (1, 'Ann Mayer', 'Bern');
insert into people values (2, 'Jürgen Weber', 'Köln');
insert into people values (3, 'Zoe Lindt', null);
