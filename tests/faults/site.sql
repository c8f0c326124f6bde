-- SPDX-License-Identifier: Apache-2.0
-- A warehouse with something for every task and every case of re-linking.
INSERT INTO dwm_tables VALUES
    ('maker', 'DIMENSION', NULL, 1), ('brand', 'DIMENSION', NULL, 1), ('product', 'DIMENSION', NULL, 1),
    ('store', 'DIMENSION', NULL, 1), ('segment', 'DIMENSION', NULL, 1), ('employee', 'DIMENSION', NULL, 1),
    ('carrier', 'DIMENSION', NULL, 0), ('customer', 'DIMENSION', NULL, 1), ('contract', 'DIMENSION', NULL, 1),
    ('sales', 'FACT', 'sold < ''20200101''', 1), ('shipments', 'FACT', 'datepart(year, shipped) < 2020', 1),
    ('stock', 'FACT', NULL, 1);
INSERT INTO dwm_star_relations VALUES
    (1, 'sales', 'product_id', 'product', 'product_id', 0, 'product_id'),
    (1, 'shipments', 'product_id', 'product', 'product_id', 0, 'product_id'),
    (1, 'product', 'brand_id', 'brand', 'brand_id', 0, 'brand_id'),
    (1, 'brand', 'maker_id', 'maker', 'maker_id', 0, 'maker_id'),
    (1, 'sales', 'region,store_no', 'store', 'region,store_no', 0, 'region,store_no'),
    (1, 'stock', 'region,store_no', 'store', 'region,store_no', 0, 'region,store_no'),
    (1, 'sales', 'employee_id', 'employee', 'employee_id', 0, 'employee_id'),
    (1, 'employee', 'boss_id', 'employee', 'employee_id', 0, 'employee_id'),
    (1, 'shipments', 'carrier_id', 'carrier', 'carrier_id', 0, 'carrier_id'),
    (1, 'customer', 'segment_id', 'segment', 'segment_id', 0, 'segment_id'),
    (1, 'sales', 'customer_key', 'customer', 'customer_key', 1, 'customer_id'),
    (1, 'shipments', 'contract_key', 'contract', 'contract_key', 1, 'tenant, number');

-- Some rows are used only by facts that are archived, some only by rows that are deleted, some are sustained.
-- A carrier is marked from the start.
CREATE TABLE maker(maker_id int PRIMARY KEY, is_sustainable bit DEFAULT 0, is_deletable bit DEFAULT 0);
CREATE TABLE brand(
    brand_id int PRIMARY KEY, maker_id int, is_sustainable bit DEFAULT 0, is_deletable bit DEFAULT 0);
CREATE TABLE product(
    product_id int PRIMARY KEY, brand_id int, is_sustainable bit DEFAULT 0, is_deletable bit DEFAULT 0);
CREATE TABLE store(
    region varchar(10), store_no int, name varchar(20), is_sustainable bit DEFAULT 0, is_deletable bit DEFAULT 0);
CREATE TABLE segment(segment_id int PRIMARY KEY, is_sustainable bit DEFAULT 0, is_deletable bit DEFAULT 0);
CREATE TABLE employee(
    employee_id int PRIMARY KEY, boss_id int, is_sustainable bit DEFAULT 0, is_deletable bit DEFAULT 0);
CREATE TABLE carrier(carrier_id int PRIMARY KEY, is_sustainable bit DEFAULT 0, is_deletable bit DEFAULT 0);
INSERT INTO maker VALUES (1, 0, 0), (2, 0, 0), (3, 1, 0);
INSERT INTO brand VALUES (1, 1, 0, 0), (2, 2, 0, 1), (3, 1, 1, 0);
INSERT INTO product VALUES (1, 1, 0, 0), (2, 1, 0, 0), (3, 2, 0, 0), (4, 2, 0, 0), (5, 1, 1, 1);
INSERT INTO store VALUES
    ('north', 1, 'a', 0, 0), ('north', 2, 'b', 0, 0), ('south', 1, 'c', 0, 0), ('south', 2, 'd', 1, 0),
    ('east', NULL, 'e', 0, 0);
INSERT INTO segment VALUES (1, 0, 0), (2, 0, 0);
INSERT INTO employee VALUES (1, 1, 0, 0), (2, 1, 0, 0);
INSERT INTO carrier VALUES (1, 0, 1), (2, 0, 0);

-- Customer 1 loses its first version, 2 one in the middle, 3 two in a row, 4 its first two, 8 its last, 9 one
-- whose facts are archived. Customers 6 and 7 lose all versions, 10 has a sustained one.
CREATE TABLE customer(
    customer_key int PRIMARY KEY, customer_id int, segment_id int, start_date datetime, end_date datetime,
    is_current bit, is_sustainable bit DEFAULT 0, is_deletable bit DEFAULT 0);
CREATE TEMP TABLE version(k, id, segment, first, next);
INSERT INTO version VALUES
    (11, 1, 1, 2015, 2016), (12, 1, 1, 2016, 2018), (13, 1, 1, 2018, 9999),
    (21, 2, 1, 2015, 2016), (22, 2, 1, 2016, 2018), (23, 2, 1, 2018, 9999),
    (31, 3, 1, 2015, 2016), (32, 3, 1, 2016, 2017), (33, 3, 1, 2017, 2018), (34, 3, 1, 2018, 9999),
    (41, 4, 1, 2015, 2016), (42, 4, 1, 2016, 2017), (43, 4, 1, 2017, 9999),
    (51, 5, 1, 2015, 2016), (52, 5, 1, 2016, 9999), (61, 6, 2, 2015, 2016), (62, 6, 2, 2016, 9999),
    (71, 7, 2, 2015, 9999), (81, 8, 1, 2015, 2016), (82, 8, 1, 2016, 9999),
    (91, 9, 1, 2015, 2016), (92, 9, 1, 2016, 9999), (101, 10, 1, 2015, 2016), (102, 10, 1, 2016, 9999);
INSERT INTO customer
    SELECT k, id, segment, first || '-01-01 00:00:00', next || '-01-01 00:00:00', next = 9999, k = 101, 0
    FROM version;

-- Contracts lose only current versions.
CREATE TABLE contract(
    contract_key int PRIMARY KEY, tenant varchar(10) COLLATE NOCASE, number int, start_date datetime,
    end_date datetime, is_current bit, is_sustainable bit DEFAULT 0, is_deletable bit DEFAULT 0);
DELETE FROM version;
INSERT INTO version VALUES
    (11, 'a', 1, 2015, 2017), (12, 'A', 1, 2017, 9999), (21, 'a', 2, 2015, 2016), (22, 'a', 2, 2016, 2017),
    (23, 'a', 2, 2017, 9999), (31, 'b', 1, 2015, 2016), (32, 'b', 1, 2016, 9999), (41, 'b', 2, 2015, 9999);
INSERT INTO contract
    SELECT k, id, segment, first || '-01-01 00:00:00', next || '-01-01 00:00:00', next = 9999, 0, 0 FROM version;

CREATE TABLE sales(
    sale_id int NOT NULL, product_id int, region varchar(10), store_no int, customer_key int, employee_id int,
    sold datetime, CONSTRAINT pk_sales PRIMARY KEY(sale_id));
CREATE INDEX ix_sales ON sales(sale_id);
CREATE TEMP TABLE used(k);
INSERT INTO used VALUES (12), (13), (21), (23), (31), (34), (43), (51), (52), (81), (92), (102);
INSERT INTO sales SELECT row_number() OVER (), 1, 'north', 1, k, 2, '2021-06-30 12:30:00' FROM used;
INSERT INTO sales VALUES
    (100, 2, 'north', 2, 91, 1, '2019-12-31 23:59:59'), (101, 1, 'north', 1, 12, 1, '2018-01-01 00:00:00'),
    (102, 1, 'north', 1, 12, 2, NULL);
CREATE TABLE shipments(product_id int, contract_key int, carrier_id int, shipped datetime);
CREATE INDEX ix_shipments ON shipments(product_id);
INSERT INTO shipments VALUES
    (1, 11, 1, '2021-01-01 00:00:00'), (1, 21, 1, '2021-01-01 00:00:00'), (1, 22, 1, '2020-01-01 00:00:00'),
    (1, 31, 1, '2021-01-01 00:00:00'), (1, 32, 1, '2021-01-01 00:00:00'), (3, 31, 2, '2019-03-01 00:00:00'),
    (3, 31, 2, '2019-03-01 00:00:00'), (1, 11, 1, '2017-01-01 00:00:00');
CREATE TABLE stock(region varchar(10), store_no int, pieces int);
CREATE INDEX ix_stock ON stock(region);
INSERT INTO stock VALUES ('north', 1, 5), ('south', 1, 7);
