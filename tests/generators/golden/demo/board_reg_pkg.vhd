-- ###############################################################
--          board_reg_pkg.vhd
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

package board_reg_pkg is

-- Archive Variables
--Crystal on the HSE pins, in Hz.
constant HSE_HZ:                                integer := 8000000;
--User LED: port A (GPIO.PORT[0]), pin 5, active high.
constant LED_PORT:                              integer := 0;
constant LED_PIN:                               integer := 5;


end board_reg_pkg;
