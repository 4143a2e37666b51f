-- ###############################################################
--          common_reg_pkg.vhd
-- ###############################################################
-- Generated automatically by Ombrel
--
-- Module Description :
--
--      
--
-- ---------------------------------------------------------------
--  $HeadURL: $
--  $Author: $
--  $Date: $
--  $Revision: $
-- ---------------------------------------------------------------
-- ###############################################################
--          VHDL CODE
-- ###############################################################
-------------------------------------------------
-- Libraries
-------------------------------------------------
LIBRARY IEEE;
USE ieee.std_logic_1164.all;

package common_reg_pkg is

-- Archive Variables

--Memory regions
--Main flash, 512 KiB.
constant FLASH_BASE:                            integer := 16#08000000#;
constant FLASH_SIZE:                            integer := 512 * 1024;
--System SRAM, 64 KiB.
constant SRAM_BASE:                             integer := 16#20000000#;
constant SRAM_SIZE:                             integer := 16#10000#;
--Retention RAM, kept in standby.
--The boot ROM writes the boot information block at its start.
constant RETRAM_BASE:                           integer := SRAM_BASE + SRAM_SIZE;

--Peripheral buses
constant PERIPH_BASE:                           integer := 16#40000000#;
constant APB1_BASE:                             integer := PERIPH_BASE;
constant APB2_BASE:                             integer := PERIPH_BASE + 16#10000#;
constant AHB1_BASE:                             integer := PERIPH_BASE + 16#20000#;
constant AHB2_BASE:                             integer := 16#48000000#;
--Secure alias of the peripheral space: every peripheral is also decoded at its address + 0x10000000 for secure masters.
constant PERIPH_BASE_S:                         integer := 16#50000000#;
--Power-on or brown-out reset.
constant RESET_POWER_ON:                        integer := 0;
--NRST pin driven low.
constant RESET_PIN:                             integer := 1;
constant RESET_WATCHDOG:                        integer := 2;
--SYSRESETREQ from the core.
constant RESET_SOFTWARE:                        integer := 3;
constant RESET_LOCKUP:                          integer := 4;


end common_reg_pkg;
