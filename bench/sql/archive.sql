-- Archiving by hand: the archive tables as the program creates them, then the same copy and delete. The
-- indexes of the facts are dropped and re-created: deleting each row from each index takes more than
-- twice as long and grows faster than the rows.
CREATE TABLE archive.sales (sale_id bigint NOT NULL, order_date datetime NOT NULL,
    date_key int NOT NULL, product_key int NOT NULL, store_key int NOT NULL,
    customer_key int NOT NULL, geography_key int NOT NULL, employee_key int NULL,
    promotion_code varchar(20) COLLATE NOCASE NULL, region_code varchar(10) COLLATE NOCASE NULL,
    quantity smallint NOT NULL, unit_price money NOT NULL, is_online bit NOT NULL,
    date_of_archiving datetime NOT NULL,
    CONSTRAINT pk_sales PRIMARY KEY (sale_id, date_of_archiving));
CREATE TABLE archive.shipments (sale_id bigint NOT NULL, ship_date datetime NOT NULL,
    date_key int NOT NULL, product_key int NOT NULL, carrier_key smallint NOT NULL,
    destination_geography_key int NOT NULL, promotion_code varchar(20) COLLATE NOCASE NULL,
    region_code varchar(10) COLLATE NOCASE NULL, weight_kg decimal(9,3) NOT NULL,
    freight money NOT NULL, delivery_date datetime NULL, date_of_archiving datetime NOT NULL);
INSERT INTO archive.sales SELECT *, '2026-11-21 09:00:00' FROM sales
    WHERE order_date < '2019-01-01 00:00:00';
BEGIN;
DROP INDEX ix_sales_product;
DROP INDEX ix_sales_customer;
DROP INDEX ix_sales_promotion;
DELETE FROM sales WHERE order_date < '2019-01-01 00:00:00';
CREATE INDEX ix_sales_product ON sales (product_key);
CREATE INDEX ix_sales_customer ON sales (customer_key);
CREATE INDEX ix_sales_promotion ON sales (promotion_code, region_code);
COMMIT;
INSERT INTO archive.shipments SELECT *, '2026-11-21 09:00:00' FROM shipments
    WHERE ship_date < '2020-01-01 00:00:00';
BEGIN;
DROP INDEX ix_shipments_sale;
DROP INDEX ix_shipments_destination;
DELETE FROM shipments WHERE ship_date < '2020-01-01 00:00:00';
CREATE INDEX ix_shipments_sale ON shipments (sale_id);
CREATE INDEX ix_shipments_destination ON shipments (destination_geography_key);
COMMIT;
